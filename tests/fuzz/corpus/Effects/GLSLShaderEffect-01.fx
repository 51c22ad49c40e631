#ifndef OSX
#error OSX is defined for every effect
#endif
texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; MinFilter = Point; MagFilter = Point; };
texture _Mask < string Resource = "mask.png"; >;
sampler2D MaskSampler = sampler_state { Texture = <_Mask>; ADDRESS MinFilter = Point; MagFilter = Point; };
texture Scratch : RENDERCOLORTARGET;
texture Far;
sampler2D FarSampler = sampler_state { Texture = <Far>; };
float Amount < string UIName = "How much"; float UIMin = -1; bool Visible = true; int Steps = 4; > = VALUE;
float4 Tint = {1, 0, 0.5, 1};
int Count = 3;
bool Invert = true;
float3 Offset = {1, 2, 3};
float3x3 Turn = {1, 2, 3, 4, 5, 6, 7, 8, 9};
float Weights[3];
string Label = "label";

float4 show(float2 square0 : TEXCOORD0, float2 input : TEXCOORD1, float2 mask : TEXCOORD2,
            float2 square3 : TEXCOORD3) : COLOR
{
    return float4(tex2D(InputSampler, input).r, tex2D(MaskSampler, mask).g, square0.x * Amount, square3.y);
}

float4 beyond(float2 uv : TEXCOORD12) : COLOR { return tex2D(FarSampler, uv); }

technique Beyond { pass One { PixelShader = compile PROFILE beyond(); } }
technique Show { pass One { PixelShader = compile PROFILE show(); } }
