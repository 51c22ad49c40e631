
struct Inner { float4 colour : COLOR0; float4 second : COLOR1; };
struct Outer { float2 uv : TEXCOORD0; Inner inner; float4 far : TEXCOORD7; };
void main(Outer o, in float4 extra : TEXCOORD3, out float4 result : COLOR)
{
    result.rgb = o.inner.colour.rgb * 0.5 + o.inner.second.rgb * 0.25 + float3(o.uv, 0) * 0.25 + o.far.rgb * extra.rgb * 0.25;
    result.a = o.inner.colour.a * 0.5 + o.far.a * extra.a * 0.25;
}
technique t { pass p { FragmentProgram = compile fp40 main(); } }