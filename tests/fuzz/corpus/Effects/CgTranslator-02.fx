
float4x4 modelViewProjection;
void main(float4 position : POSITION, float4 uv : TEXCOORD0,
          out float4 clip : POSITION, out float2 coordinate : TEXCOORD0)
{
    clip = mul(modelViewProjection, position);
    coordinate = uv.xy;
}
