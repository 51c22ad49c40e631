
uniform float4 tint;
float4 main(uniform float gain) : COLOR
{
    tint.rgb *= 2.0;
    gain += 1.0;
    return tint * gain;
}
