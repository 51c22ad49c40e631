
float4 finish(float2 uv : TEXCOORD0) : COLOR
{
    float4 scratch = tex2D(ScratchSampler, uv);
    return float4(scratch.b, scratch.r * 0.5, scratch.g + 0.25, 1 - scratch.a * 0.5);
}

float4 prepare(float2 uv : TEXCOORD0) : COLOR
{
    return tex2D(InputSampler, uv) * Gain;
}
