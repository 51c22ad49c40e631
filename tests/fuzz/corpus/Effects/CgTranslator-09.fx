// integer remainder
float4 main(float2 uv : TEXCOORD0) : COLOR { return int(uv.x * 8) % 3; }
