float4 plain(float4 colour : COLOR0) : COLOR { return colour; }


technique Assembly
{
    pass P0
    {
        PixelShader = asm { ps_1_1 tex t0 mov r0, t0 };
    }
}
technique Good { pass One { PixelShader = compile ps_3_0 plain(); } }
technique Ancient { pass One { PixelShader = compile ps_1_4 plain(); } }
technique Later { pass One { PixelShader = compile ps_4_0 plain(); } }
technique Crossed { pass One { PixelShader = compile vs_3_0 plain(); } }
technique Untranslatable { pass One { PixelShader = compile fp40 plain(1, 2); } }
technique { pass { VertexShader = asm { vs_1_1 dcl_position v0 mov oPos, v0 }; PixelShader = compile fp40 plain(); } }
