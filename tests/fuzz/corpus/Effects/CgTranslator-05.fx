// a comment
fixed4 main(float2 uv : TEXCOORD0) : COLOR
{

    return shine(uv);
}
