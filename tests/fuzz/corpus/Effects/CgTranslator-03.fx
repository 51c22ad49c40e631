
struct PixelOut { float4 colour : COLOR0; float depth : DEPTH; };
float4 twice(float4 x);
static inline float square(float x) { return x * x; }
struct Light { float3 direction; float4 colour; };
PixelOut main(float2 uv : texcoord0, float4 c : color, uniform float gain, uniform float4x4 unused : state.matrix.mvp)
{
    PixelOut result = (PixelOut)0;
    Light lights[2];
    lights[0].direction = float3(1, 0, 0);
    lights[0].colour = c;
    lights[1] = lights[0];
    if (uv.x < 0) discard;
    clip(uv.y + 1);
    for (int i = 0, j = 2; i < j; ++i) lights[i].colour *= 0.5;
    switch (int(gain)) { case 0: result.colour = 0; break; default: result.colour = twice(lights[1].colour); break; }
    do { result.depth = square(0.5); } while (false);
    return result;
}
float4 twice(float4 x) { return x * 2; }
