float4 shade() : COLOR
{
    return missing;
}
technique T { pass P { FragmentProgram = compile fp40 shade(); } }
