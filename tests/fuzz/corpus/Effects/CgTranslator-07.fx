float4 other() : COLOR { return 1; }
