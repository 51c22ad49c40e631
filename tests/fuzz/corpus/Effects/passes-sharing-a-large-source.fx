#define G(n) float4 g##n(float4 v) { float4 a = v * 2 + 1; float4 b = a * a - v; return b / (a + 1); }
#define G8(n) G(n##1) G(n##2) G(n##3) G(n##4) G(n##5) G(n##6) G(n##7) G(n##8)
#define G64(n) G8(n##1) G8(n##2) G8(n##3) G8(n##4) G8(n##5) G8(n##6) G8(n##7) G8(n##8)
#define G512(n) G64(n##1) G64(n##2) G64(n##3) G64(n##4) G64(n##5) G64(n##6) G64(n##7) G64(n##8)
G512(x)
G512(y)
G512(z)
G512(w)
float4 f(float2 uv : TEXCOORD0, uniform float k) : COLOR { return float4(uv, k, 1); }
#define P(n) pass p##n { PixelShader = compile ps_2_0 f(n); }
#define P8(n) P(n##0) P(n##1) P(n##2) P(n##3) P(n##4) P(n##5) P(n##6) P(n##7)
#define P64(n) P8(n##1) P8(n##2) P8(n##3) P8(n##4) P8(n##5) P8(n##6) P8(n##7) P8(n##8)
#define T(n) technique t##n { P64(n) }
#define T8(n) T(n##1) T(n##2) T(n##3) T(n##4) T(n##5) T(n##6) T(n##7) T(n##8)
T(1)
