float4 main() : COLOR { return 1; }
