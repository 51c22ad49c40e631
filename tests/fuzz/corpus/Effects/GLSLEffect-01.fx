texture Source < string Resource = "clip.png"; >;
sampler2D SourceSampler = sampler_state { Texture = <Source>; AddressU = Clamp; AddressV = Wrap; MinFilter = Linear; MaxAnisotropy = 4; };
float Amount < string UIName = "Amount"; float UIMin = -1.5; int Steps = 3; bool Hidden = true; > = 0.25;
float4 Tint : DIFFUSE = {1, 0.5, 0.25, 1};
float3 Grey = 0.5;
int Count = 7;
bool Enabled = true;
float3x3 Warp = {1, 2, 3, 4, 5, 6, 7, 8, 9};
float Weights[] = {0.1, 0.2, 0.3};
string Label = "hello";

float4 show(float2 uv : TEXCOORD0) : COLOR
{
    float4 colour = tex2D(SourceSampler, uv) * Tint * Amount;
    return Enabled ? colour * Count : float4(Grey, Weights[1]) + float4(mul(Warp, Grey), 0);
}

technique Main < string Category = "Test"; >
{
    pass First < string Script = "RenderColorTarget0=; Draw=Buffer;"; float Weight = 2; > { PixelShader = compile PROFILE show(); }
}
