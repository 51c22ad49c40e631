float4 quarter(float2 uv : TEXCOORD0) : COLOR { return float4(0.25, 0.25, 0.25, 0.5); }

technique Add
{
    pass One { AlphaBlendEnable = true; BlendFunc = int2(One, One); PixelShader = compile PROFILE quarter(); }
}
technique Over
{
    pass One { BlendEnable = true; SrcBlend = SrcAlpha; DestBlend = InvSrcAlpha; PixelShader = compile PROFILE quarter(); }
}
