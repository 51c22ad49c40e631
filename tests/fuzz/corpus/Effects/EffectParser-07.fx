float4 f() : COLOR
{
 return 1;
