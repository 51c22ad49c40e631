float4 f() : COLOR { return undefined; }
technique T { pass P { PixelShader = compile PROFILE f(); } }
