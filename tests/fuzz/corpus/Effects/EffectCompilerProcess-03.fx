technique Old
{
    pass P
    {
        PixelShader = asm { ps_1_1 tex t0 };
        Lighting = false;
    }
}
