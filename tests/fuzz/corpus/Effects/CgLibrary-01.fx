sampler2D s2;
float trunc(float x) { return x * 0.25; }
float4 f4tex2D(sampler2D s, float2 uv);
float4 main(float4 t : TEXCOORD0) : COLOR { return float4(trunc(t.x), f4tex2D(s2, t.xy).y, fmod(-1.5, 1) + 1, 1); }
float4 f4tex2D(sampler2D s, float2 uv) { return uv.xyxy; }
