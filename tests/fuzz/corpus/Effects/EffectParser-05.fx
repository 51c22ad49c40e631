technique T {
 pass P {
 PixelShader = first();
 }
}
