test.fx(13) : error: technique Later, pass One: the profile 'ps_4_0' cannot be translated
