
sampler2DARRAY layers;
sampler1DARRAY strips;
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    int3 size = tex2DARRAYsize(layers, 0);
    return tex2DARRAY(layers, float3(uv, 1)) * 0.5 + tex1DARRAY(strips, float2(uv.x, 1)) * 0.25 +
           tex2DARRAYlod(layers, float4(uv, 0, 0)) * 0.125 * size.z;
}
technique t { pass p { FragmentProgram = compile fp40 main(); } }