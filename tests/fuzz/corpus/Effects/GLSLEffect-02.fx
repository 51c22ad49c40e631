float Scale = 0.75;
float2 Pair;
float3 Triple;
float4 Quad = {0.5, 0, 0, 0};
int Whole = 3;
bool Flag = true;
float3x3 Turn;
float4x4 Move;
float Table[3];

float4 values(float2 uv : TEXCOORD0) : COLOR
{
    float3 turned = mul(Turn, float3(1, 0, 0));
    float4 moved = mul(Move, float4(0, 1, 0, 0));
    return float4(Scale + Pair.y, Triple.z + Quad.w, (Flag ? 0.5 : 0.0) + Whole * 0.125,
                  turned.y * 0.25 + moved.x * 0.125 + Table[2]);
}

float4 defaults(float2 uv : TEXCOORD0) : COLOR
{
    return float4(Scale, Quad.x, Whole * 0.25, Flag ? 1.0 : 0.0);
}

technique Values { pass One { PixelShader = compile PROFILE values(); } }
technique Defaults { pass One { PixelShader = compile PROFILE defaults(); } }
