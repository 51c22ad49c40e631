
sampler2D Source;
float4 main(float2 uv : TEXCOORD0, uniform sampler2D Source, uniform half4 tint) : COLOR { return tex2D(Source, uv) * tint; }
technique t { pass p { FragmentProgram = compile fp40 main(Source, half4(1, 0.5, 1, 0.5x)); } }