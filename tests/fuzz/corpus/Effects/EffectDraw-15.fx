
void vertexMain(float4 position : POSITION, uniform float4x4 projection : state.matrix.projection,
                out float4 clip : POSITION, out float4 colour : COLOR0)
{
    clip = mul(glstate.matrix.mvp, position);
    colour = float4(glstate.matrix.mvp[0][0], glstate.matrix.mvp[0][3], projection[1][1],
                    glstate.matrix.inverse.modelview[0][2][2] * 0.25);
}
float4 pixelMain(float4 colour : COLOR0) : COLOR { return colour; }
technique t { pass p { VertexProgram = compile vp40 vertexMain(); FragmentProgram = compile fp40 pixelMain(); } }