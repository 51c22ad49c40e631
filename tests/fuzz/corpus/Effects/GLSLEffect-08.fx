float4 scale;
void lift(float4 position : POSITION, float4 uv : TEXCOORD0, float4 colour : COLOR0,
          out float4 clip : POSITION, out float2 coordinate : TEXCOORD0, out float4 tinted : COLOR0)
{
    clip = position;
    coordinate = uv.xy * scale.xy;
    tinted = colour * scale.z;
}
float4 show(float2 uv : TEXCOORD0, float4 colour : COLOR0) : COLOR { return float4(uv, colour.ba); }

technique Both { pass One { VertexShader = compile vp40 lift(); PixelShader = compile fp40 show(); } }
