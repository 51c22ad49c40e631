
sampler2D image;
uniform float4x4 transform;
uniform bool invert;
uniform int count;
float3 main(float2 uv : TEXCOORD0, float4 v : TEXCOORD1) : COLOR
{
    float3 texel = tex2D(image, uv).rgb;
    return invert ? 1.0 - texel : texel * mul(transform, v).xyz * count / 4;
}
