
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    float a = -uv.x;
    half2 b = half2(1.75, 0.5);
    b %= 0.5;
    int i = 7;
    return float4(a % 0.5 + 0.5, b.x, (i % 3) * 0.5, (uv.y * 4) % 1.5);
}
technique t { pass p { FragmentProgram = compile fp40 main(); } }