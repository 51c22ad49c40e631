int width = 64, height = 64, depth = 64;
float4 a : SEM = {1, 2, 3, 4},
       b;
texture first, second : RENDERCOLORTARGET;
sampler2D one = sampler_state { Texture = <first>; }, two = sampler_state {
    Texture = <second>; }, three;
static const float kA = 1, kB = 2;
struct Light { float3 direction; } sun, moon;
shared uniform extern volatile float4 tint;
