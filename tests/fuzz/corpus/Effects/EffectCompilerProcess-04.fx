test.fx(21) : error: technique Old, pass P: the pixel shader is assembly, which cannot be translated
