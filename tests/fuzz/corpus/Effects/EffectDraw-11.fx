
float f(float x) { return x * 2; }
float f(float2 x) { return x.x + x.y; }
half f(half3 x) { return x.z; }
half f(half x) { return x * 3; }
fixed4 g(fixed4 c) { return c; }
float4 g(float4 c) { return c * 0.5; }
float4 main(float2 uv : TEXCOORD0) : COLOR { return float4(f(uv.x), f(uv), f(float3(uv, 0.75)), g(float4(0, 0, 0, 0.5)).a); }
technique t { pass p { FragmentProgram = compile fp40 main(); } }