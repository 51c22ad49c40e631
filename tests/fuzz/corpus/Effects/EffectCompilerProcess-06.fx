test.fx(3) : error: technique T, pass P: the profile 'ps_9_9' cannot be translated
