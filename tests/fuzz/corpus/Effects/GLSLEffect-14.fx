float4 f() : COLOR { return 1; }
technique A { pass P { PixelShader = asm { ps_2_0 mov oC0, c0 }; } }
technique B {
 pass P { ZEnable = false; Lighting = true; PixelShader = compile ps_1_1 f(); } }
