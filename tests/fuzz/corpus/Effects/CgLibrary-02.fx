float4 main(float4 t : TEXCOORD0) : COLOR
{
    float one = t.x, zero = t.y, whole, exponent;
    float2 exponents;
    float4x4 m = float4x4(