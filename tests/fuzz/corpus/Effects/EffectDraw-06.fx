float4 secondary(float4 primary : COLOR0, float4 second : COLOR1) : COLOR
{
    return float4(second.rgb * 0.5 + primary.rgb * 0.25, 1);
}

float4 windowPosition(float4 position : WPOS) : COLOR
{
    return float4(position.x / 8, position.y / 8, frac(position.x), 1);
}

float4 pixelPosition(float2 position : VPOS) : COLOR
{
    return float4(position.y / 8, position.x / 8, 0, 1);
}

technique Secondary { pass One { PixelShader = compile PROFILE secondary(); } }
technique Window { pass One { PixelShader = compile PROFILE windowPosition(); } }
technique Pixel { pass One { PixelShader = compile PROFILE pixelPosition(); } }
