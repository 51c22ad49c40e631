#include <level.fxh>
float4 shade(float2 uv : TEXCOORD0) : COLOR { return float4(uv, 0, 1) * Level; }
technique T { pass P { PixelShader = compile fp40 shade(); } }
