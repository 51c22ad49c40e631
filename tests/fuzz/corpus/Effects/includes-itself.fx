#ifndef ONCE
#define ONCE
#include "effect.fxh"
#line 20 "renamed.fx"
#if defined(SCALE) && SCALE(2, 3) == 6 && defined(PROFILE)
float4 tint < string UIName = QUOTE(tint colour); > = float4(SCALE(1, 0.5), 0, 0, 1);
#elif OSX
#error not this one
#endif
texture image;
sampler2D NAME(image) = sampler_state { Texture = <image>; MinFilter = Linear; AddressU = Wrap; };
float4 shade(float2 uv : TEXCOORD0) : COLOR { return tex2D(imageSampler, uv) * tint; }
technique Main < string Script = "Pass=P0;"; >
{
    pass P0 < string Script = "Draw=Buffer;"; >
    {
        AlphaBlendEnable = true;
        SrcBlend = SrcAlpha;
        DestBlend = InvSrcAlpha;
        PixelShader = compile ps_2_0 shade();
    }
}
#else
#define SCALE(x, y) ((x) * (y))
#define NAME(a) a##Sampler
#define QUOTE(a) #a
#endif
