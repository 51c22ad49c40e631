float4 f() : COLOR { return 1; }
technique T {
 pass P {
  FogDensity = 2;
  BlendFunc = int2(One, Sideways);
  PixelShader = compile PROFILE f();
 }
}
