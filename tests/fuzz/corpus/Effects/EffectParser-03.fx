struct Vertex { float4 position : POSITION; float2 uv : TEXCOORD0; };
static const float kernel[3] = { 0.25, 0.5, 0.25 };
float4 blur(Vertex input, uniform float spread, out float weight) : COLOR
{
    weight = kernel[1] * spread;
    return float4(input.uv, 0, 1);
}
void split(in float4 colour : COLOR0, inout float level);
