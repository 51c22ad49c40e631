test.fx(12) : error: technique Ancient, pass One: the profile 'ps_1_4' cannot be translated
