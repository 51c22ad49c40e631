texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; };
float4 Tint = {1, 1, 1, 1};
float4 keep(float2 uv : TEXCOORD1) : COLOR { return tex2D(InputSampler, uv) * Tint; }
float4 invert(float2 uv : TEXCOORD1) : COLOR { float4 c = tex2D(InputSampler, uv); return float4(1 - c.rgb, 1) * Tint; }
technique Keep { pass One { PixelShader = compile PROFILE keep(); } }
technique Invert { pass One { PixelShader = compile PROFILE invert(); } }
