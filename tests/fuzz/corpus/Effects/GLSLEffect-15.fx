test.fx(4) : warning: render state 'Lighting' ignored
test.fx(2) : error: technique A, pass P: the pixel shader is assembly, which cannot be translated
test.fx(4) : error: technique B, pass P: the profile 'ps_1_1' cannot be translated
