sampler2D s2;
samplerRECT frame;
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    float4 colour = tex2D(s2, uv);
    return colour + 