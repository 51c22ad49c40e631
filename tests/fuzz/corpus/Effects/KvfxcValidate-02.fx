void lift(float4 position : POSITION, float4 uv : TEXCOORD0, uniform float4 gain,
          out float4 clip : POSITION, out float4 coordinate : TEXCOORD0)
{
    clip = position;
    coordinate = uv * gain;
}

float4 shade(float4 coordinate : TEXCOORD0, uniform float3 gain) : COLOR
{
    return float4(coordinate.xyz * gain, 1);
}

float4 plain(float4 coordinate : TEXCOORD0) : COLOR
{
    return coordinate;
}

technique Broken
{
    pass Both
    {
        VertexProgram = compile vp40 lift();
        FragmentProgram = compile fp40 shade();
    }
}

technique Sound
{
    pass Alone { FragmentProgram = compile fp40 plain(); }
}
