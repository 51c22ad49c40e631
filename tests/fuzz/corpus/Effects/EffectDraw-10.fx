
struct VIn { float4 position : POSITION; float3 normal : NORMAL; float3 tangent : TANGENT; float3 binormal : BINORMAL;
             float4 weight : BLENDWEIGHT; float4 indices : BLENDINDICES; float fog : FOG; float4 extra : ATTR9; };
void vertexMain(VIn v, inout float4 colour : COLOR0, out float4 clip : POSITION)
{
    clip = v.position;
    colour = float4(v.normal.x + v.tangent.y + v.binormal.z, v.weight.x + v.indices.y, v.fog + v.extra.z, colour.a);
}
float4 pixelMain(float4 colour : COLOR0, float face : VFACE) : COLOR { return face > 0 ? colour : float4(1, 0, 1, 1); }
technique t { pass p { VertexProgram = compile vp40 vertexMain(); FragmentProgram = compile fp40 pixelMain(); } }