test.fx(66) : error: too many passes in technique 'T': at most 64
