
float scaled(float x) { return x * 0.5; }
float level = 0.5;
static float halfLevel = scaled(level);
float4 main(float2 uv : TEXCOORD0) : COLOR { return float4(halfLevel, uv, 1); }
technique t { pass p { FragmentProgram = compile fp40 main(); } }