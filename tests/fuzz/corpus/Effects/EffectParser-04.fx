texture intermediate : RENDERCOLORTARGET;
float4 first(float2 uv : TEXCOORD0) : COLOR { return float4(uv, 0, 1); }
float4 second(float2 uv : TEXCOORD0, uniform float gain) : COLOR { return gain; }
technique Glow < string Description = "two passes"; >
{
    pass Spread < string Script = "RenderColorTarget0 = intermediate;"; >
    {
        FragmentProgram = compile PROFILE first();
        BlendEnable = false;
    }
    pass Combine
    {
        VertexProgram = NULL;
        PixelShader = compile PROFILE second(0.5, float2(1, 2));
        BlendFunc = int2(SrcAlpha, OneMinusSrcAlpha);
    }
}
