float4 main(float2 uv : TEXCOORD0,
 uniform float gain,
 uniform float4 tint) : COLOR
{
  return undefinedName;
}
