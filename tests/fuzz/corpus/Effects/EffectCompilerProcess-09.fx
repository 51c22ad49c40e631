float4 f() : COLOR { return 1; }
technique T { pass P {
