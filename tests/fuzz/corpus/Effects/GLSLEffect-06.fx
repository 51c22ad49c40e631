float4 colour(float2 uv : TEXCOORD0) : COLOR { return float4(0.25, 0.5, 0.75, 0.5); }

technique CullCounterClockwise { pass One { CullMode = CCW; PixelShader = compile ps_2_0 colour(); } }
technique CullClockwise { pass One { CullMode = CW; Lighting = TRUE; PixelShader = compile ps_2_0 colour(); } }
technique WriteRedAndAlpha { pass One { ColorWriteEnable = RED | ALPHA; PixelShader = compile ps_2_0 colour(); } }
technique Multiply
{
    pass One
    {
        AlphaBlendEnable = TRUE; SrcBlend = DestColor; DestBlend = Zero; BlendOp = Add;
        Texture[0] = <Nothing>;
        PixelShader = compile ps_2_0 colour();
    }
}
