
struct source { float2 size; sampler2D texture; float4 vector; };
float4 lookup(const sampler2D texture, float2 uv) { return tex2D(texture, uv); }
float scaled(float half, float matrix) { return half * matrix; }
sampler2D decal;
float4 input = {0, 0, 0, 0.5};
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    source string;
    string.size = uv;
    string.vector = float4(0.25, 0.5, 0.75, 1);
    float pass = 0.5, technique = 0.25, compile = 0.125, decl = 0.0625;
    float half = scaled(2.0, 0.25);
    float4 texel = lookup(decal, string.size);
    return float4(texel.r * half + decl, texel.g * half + technique, string.vector.b * pass, compile * 4 + input.a);
}
technique t { pass p { FragmentProgram = compile fp40 main(); } }