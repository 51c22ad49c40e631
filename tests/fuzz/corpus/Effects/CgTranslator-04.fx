float4 main() : COLOR
{
    float4 colour = 1;
    return colour +;
}
