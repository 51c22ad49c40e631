sampler1D s1; sampler2D s2; sampler3D s3; samplerCUBE sc; samplerRECT sr;
float4 main() : COLOR { float2 c2 = float2(0.375, 0.625); return 