technique Old { pass P { PixelShader = asm { ps_1_1 mov r0, v0 }; } }
technique Older { pass P { VertexShader = asm { vs_1_1 mov oPos, v0 }; } }
