

technique T { pass P { PixelShader = compile PROFILE no(); } }