a.fx(2) : error: technique U, pass P: why
