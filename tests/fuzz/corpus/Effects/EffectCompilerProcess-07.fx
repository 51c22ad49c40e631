test.fx(3) : error: technique T, pass P: the profile 'vp40' is not for pixel shaders
