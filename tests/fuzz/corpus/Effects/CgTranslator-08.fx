float4 main(float4 tangent : BINORMAL) : COLOR { return tangent; }
