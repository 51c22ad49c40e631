float4 tint : DIFFUSE < string UIName = "Tint"; > = {1, 0.5, 0.25, 1};
texture image;
sampler2D imageSampler = sampler_state { Texture = <image>; AddressU = Clamp; };

float4 shade(float2 uv : TEXCOORD0) : COLOR
{
    return tex2D(imageSampler, uv) * tint;
}

technique Tinted
{
    pass One
    {
        FragmentProgram = compile fp40 shade();
    }
}
