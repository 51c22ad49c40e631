texture First;
texture Second;
sampler2D Earlier = sampler_state { Texture = <First>; AddressU = Clamp; AddressV = Clamp; };
sampler2D Later = sampler_state { Texture = <Second>; AddressU = Wrap; AddressV = Wrap; MagFilter = Point; MinFilter = Point; };

float4 onlyLater(float2 uv : TEXCOORD0) : COLOR { return tex2D(Later, uv); }
float4 both(float2 uv : TEXCOORD0) : COLOR { return tex2D(Earlier, uv) * 0.5 + tex2D(Later, uv) * 0.5; }

technique Units
{
    pass A { PixelShader = compile PROFILE onlyLater(); }
    pass B { PixelShader = compile PROFILE both(); }
}
