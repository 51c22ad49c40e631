float4 old() : COLOR
{
    asm { MOV result.color, 1; }
    return 1;
}
float4 main() : COLOR { return 0.5; }
float4 viaOld() : COLOR { return old(); }
