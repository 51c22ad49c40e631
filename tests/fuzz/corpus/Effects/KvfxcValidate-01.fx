float4 tint < string UIName = "Tint"; > = {1, 0.5, 0.25, 1};

void lift(float4 position : POSITION, float4 uv : TEXCOORD0, out float4 clip : POSITION,
          out float4 coordinate : TEXCOORD0)
{
    clip = position;
    coordinate = uv;
}

float4 shade(float4 coordinate : TEXCOORD0) : COLOR
{
    return coordinate * tint;
}

technique Plain
{
    pass Alone { FragmentProgram = compile fp40 shade(); }
    pass WithVertex
    {
        VertexProgram = compile vp40 lift();
        FragmentProgram = compile fp40 shade();
    }
}
