void lift(float4 position : POSITION, uniform float4 gain, out float4 clip : POSITION,
          out float4 colour : COLOR0)
{
    clip = position;
    colour = gain;
}

float4 shade(float4 colour : COLOR0, uniform float3 gain) : COLOR { return float4(colour.xyz * gain, 1); }
float4 plain(float4 colour : COLOR0) : COLOR { return colour; }

technique Broken { pass One { VertexProgram = compile vp40 lift(); FragmentProgram = compile fp40 shade(); } }
technique Sound { pass One { FragmentProgram = compile fp40 plain(); } }
