test.fx(8) : error: technique Assembly, pass P0: the pixel shader is assembly, which cannot be translated
