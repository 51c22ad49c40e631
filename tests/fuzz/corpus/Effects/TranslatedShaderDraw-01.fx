
float4 main(float4 t0 : TEXCOORD0, float2 t1 : TEXCOORD1, float3 t2 : TEXCOORD2, float t3 : TEXCOORD3,
            float4 t4 : TEXCOORD4, float4 t5 : TEXCOORD5, float4 t6 : TEXCOORD6, float4 t7 : TEXCOORD7) : COLOR
{
    return (t0 + t1.xyxy + t2.xyzz + t3 + t4 + t5 + t6 + t7) / 8;
}
