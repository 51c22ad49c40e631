float4 a;

technique T { pass P { ; } }
float4 b = ;
