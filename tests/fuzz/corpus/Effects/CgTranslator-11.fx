;
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    S_