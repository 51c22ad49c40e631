test.fx(257) : error: too many techniques: at most 256
