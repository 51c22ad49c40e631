test.fx(14) : error: technique Crossed, pass One: the profile 'vs_3_0' is not for pixel shaders
