
struct Source { float2 video_size; float2 texture_size; float frame_count; };
struct Varyings { float2 tex : TEXCOORD0; float4 col : COLOR0; };
float4 main_fragment(in Varyings v, uniform float gain, uniform sampler2D decal : TEXUNIT2, uniform Source IN) : COLOR
{
    return tex2D(decal, v.tex * IN.video_size / IN.texture_size) * v.col * gain + IN.frame_count;
}
technique t { pass p { FragmentProgram = compile fp40 main_fragment(0.5); } }