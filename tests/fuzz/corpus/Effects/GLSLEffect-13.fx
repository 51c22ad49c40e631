test.fx(16) : error: technique #7, pass #1: the vertex shader is assembly, which cannot be translated
