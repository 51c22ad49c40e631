test.fx(3) : error: technique T, pass P: the vertex shader is assembly, which cannot be translated
