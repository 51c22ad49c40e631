texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; };
float4 turn(float2 uv : TEXCOORD0) : COLOR { float4 c = tex2D(InputSampler, uv); return float4(c.g, c.b, c.r, 1); }
technique Turn { pass One { PixelShader = compile PROFILE turn(); } }