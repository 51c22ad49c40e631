texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; MinFilter = Point; MagFilter = Point; };
texture Scratch : RENDERCOLORTARGET;
sampler2D ScratchSampler = sampler_state { Texture = <Scratch>; MinFilter = Point; MagFilter = Point; };
float4 fill(float2 uv : TEXCOORD1) : COLOR { return float4(tex2D(InputSampler, uv).r, 0.4, 0.6, 1.0); }
float4 finish(float2 uv : TEXCOORD0) : COLOR
{
    float4 scratch = tex2D(ScratchSampler, uv);
    return float4(scratch.g, scratch.r, scratch.b, 1.0);
}
technique TwoPass
{
    pass Fill < string Script = "RenderColorTarget0=Scratch;"; > { PixelShader = compile PROFILE fill(); }
    pass Finish < string Script = "RenderColorTarget0=;"; > { PixelShader = compile PROFILE finish(); }
}
