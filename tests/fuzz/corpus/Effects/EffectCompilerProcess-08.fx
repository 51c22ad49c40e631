test.fx(3) : error: technique T, pass P: the profile 'PS_2_0' is not for vertex shaders
