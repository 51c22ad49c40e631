float4 plain(float4 colour : COLOR0) : COLOR { return colour; }

technique Old
{
    pass P { PixelShader = asm { ps_1_1 mov r0, v0 }; }
}
technique New { pass P { Lighting = false; PixelShader = compile ps_2_0 plain(); } }
