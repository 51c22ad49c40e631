#include "BenchScratch.h"

#include "../OS/Linux/gpu/effects/GLSLEffect.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <system_error>

// Compiling an effect as the editor does, from its text to techniques, passes
// and parameters ready to link: cold, with a new kvfxc and a cache folder of
// its own every time, and warm, where the disk cache answers and no process is
// spawned. The warm path is what every start after the first pays, and must
// stay under 2 ms.
namespace
{
    // A text effect like the library's own: one sampler, one colour, one pass.
    const char kTextEffect[] = R"(texture Input;
sampler LinearSampler = sampler_state { Texture = <Input>; };
float4 FaceColour1;

float4 textBlend(float2 xy1 : TEXCOORD1) : COLOR
{
    float4 src = tex2D(LinearSampler, xy1);
    float4 output = FaceColour1;
    output.a = ((src.r + src.g + src.b) / 3.0) * FaceColour1.a;
    return output;
}

technique t1 { pass p1 { PixelShader = compile PROFILE textBlend(); } }
)";

    // Two passes: a blur of the input into a render target named in the first
    // pass's Script, then a grade that mixes the blur back with the input.
    const char kTwoPassEffect[] = R"(// A soft glow: blur the bright parts, then add them back graded.
#define TAPS 5
#define LUMA_WEIGHTS float3(0.2126, 0.7152, 0.0722)
#define SQUARE(x) ((x) * (x))

texture Input;
texture Blurred : RENDERCOLORTARGET
<
    float2 ViewportRatio = { 1.0, 1.0 };
    string Format = "A8R8G8B8";
>;

sampler2D InputSampler = sampler_state
{
    Texture = <Input>;
    AddressU = Clamp;
    AddressV = Clamp;
    MinFilter = Linear;
    MagFilter = Linear;
    MipFilter = None;
};

sampler2D BlurredSampler = sampler_state
{
    Texture = <Blurred>;
    AddressU = Clamp;
    AddressV = Clamp;
    MinFilter = Linear;
    MagFilter = Linear;
};

float Threshold
<
    string UIName = "Threshold";
    string UIWidget = "Slider";
    float UIMin = 0.0;
    float UIMax = 1.0;
    float UIStep = 0.01;
> = 0.6;

float Strength
<
    string UIName = "Strength";
    float UIMin = 0.0;
    float UIMax = 4.0;
> = 1.5;

float2 TexelSize : VIEWPORTPIXELSIZE
<
    string UIName = "Texel size";
    bool UIVisible = false;
> = { 0.001953125, 0.001953125 };

float3 GlowTint
<
    string UIName = "Tint";
    string UIWidget = "Color";
> = { 1.0, 0.9, 0.8 };

float4 Lift : DIFFUSE
<
    string UIName = "Lift";
> = { 0.0, 0.0, 0.0, 0.0 };

int Quality
<
    string UIName = "Quality";
    int UIMin = 1;
    int UIMax = 3;
> = 2;

bool Vertical
<
    string UIName = "Vertical spread";
> = false;

float3x3 ColourMatrix
<
    string UIName = "Colour matrix";
> = { 1, 0, 0,
      0, 1, 0,
      0, 0, 1 };

float4x4 TextureTransform : TEXTUREMATRIX
<
    string UIName = "Texture transform";
    bool UIVisible = false;
>;

static const float Weights[TAPS] = { 0.227027, 0.1945946, 0.1216216, 0.054054, 0.016216 };

struct Sample
{
    float3 colour;
    float alpha;
};

float luminance(float3 colour)
{
    return dot(colour, LUMA_WEIGHTS);
}

Sample fetch(sampler2D source, float2 uv)
{
    float4 texel = tex2D(source, uv);
    Sample result;
    result.colour = texel.rgb;
    result.alpha = texel.a;
    return result;
}

float3 brightPart(float3 colour, float threshold)
{
    half bright = max(luminance(colour) - threshold, 0.0);
    return colour * (bright / max(1.0 - threshold, 0.0001));
}

float2 spreadDirection(bool vertical, float2 texel)
{
    return vertical ? float2(0.0, texel.y) : float2(texel.x, 0.0);
}

void accumulate(inout float3 total, inout float weights, float3 colour, float weight)
{
    total += colour * weight;
    weights += weight;
}

float3 softLight(float3 base, float3 blend)
{
    float3 dark = 2.0 * base * blend + SQUARE(base) * (1.0 - 2.0 * blend);
    float3 light = sqrt(base) * (2.0 * blend - 1.0) + 2.0 * base * (1.0 - blend);
    return lerp(dark, light, step(0.5, blend));
}

float vignette(float2 uv, float amount)
{
    float2 centred = uv - 0.5;
    return 1.0 - amount * SQUARE(length(centred)) * 2.0;
}

half3 toneMap(half3 colour)
{
    return colour / (1.0 + colour);
}

fixed4 spread(float2 uv : TEXCOORD0) : COLOR
{
    float2 offset = spreadDirection(Vertical, TexelSize) * Quality;
    float3 total = 0;
    float weights = 0;
    Sample centre = fetch(InputSampler, uv);
    accumulate(total, weights, brightPart(centre.colour, Threshold), Weights[0]);
    for (int tap = 1; tap < TAPS; ++tap) {
        float3 before = fetch(InputSampler, uv - offset * tap).colour;
        float3 after = fetch(InputSampler, uv + offset * tap).colour;
        accumulate(total, weights, brightPart(before, Threshold), Weights[tap]);
        accumulate(total, weights, brightPart(after, Threshold), Weights[tap]);
    }
    return fixed4(total / weights, centre.alpha);
}

float4 combine(float2 uv : TEXCOORD0, uniform float gain) : COLOR
{
    float2 moved = mul(float4(uv, 0.0, 1.0), TextureTransform).xy;
    Sample base = fetch(InputSampler, uv);
    float3 glow = tex2D(BlurredSampler, moved).rgb * GlowTint * Strength * gain;
    float3 graded = mul(ColourMatrix, softLight(saturate(base.colour), saturate(glow)));
    graded = saturate(toneMap(graded + glow) * vignette(uv, 0.25) + Lift.rgb);
    return float4(graded, base.alpha);
}

technique Glow
<
    string Description = "A soft glow in two passes";
    string Script = "Pass=Spread; Pass=Combine;";
>
{
    pass Spread
    <
        string Script = "RenderColorTarget0 = Blurred;"
                        "Draw = Buffer;";
    >
    {
        PixelShader = compile PROFILE spread();
        BlendEnable = false;
    }

    pass Combine
    <
        string Script = "RenderColorTarget0 = ;"
                        "Draw = Buffer;";
    >
    {
        PixelShader = compile PROFILE combine(1.0);
        BlendEnable = true;
        BlendFunc = int2(SrcAlpha, OneMinusSrcAlpha);
    }
}
)";

    const EffectParser::Definitions kDefinitions = {{"PROFILE", "glslf"}};

    GLSLEffect::Compilation compile(const char* source, const EffectCompilerProcess& compiler)
    {
        return GLSLEffect::compileBuffer(source, kDefinitions, "bench.fx", "/tmp/", compiler);
    }

    // A new cache folder per iteration: no entry of an earlier run can answer.
    void compileCold(benchmark::State& state, const char* source)
    {
        unsigned made = 0;
        for (auto _ : state) {
            state.PauseTiming();
            const std::string folder = benchScratch() + "/cold-" + std::to_string(made++) + "/";
            std::error_code ignored;
            std::filesystem::create_directories(folder, ignored);
            state.ResumeTiming();

            const GLSLEffect::Compilation compiled = compile(source, EffectCompilerProcess(KVFXC_PATH, folder));

            state.PauseTiming();
            const bool filled = !std::filesystem::is_empty(folder, ignored);
            std::filesystem::remove_all(folder, ignored);
            if (!compiled.effect || !filled) {
                state.SkipWithError(("the cold compile did not run the compiler: " + compiled.listing).c_str());
                break;
            }
            state.ResumeTiming();
        }
    }

    void compileWarm(benchmark::State& state, const char* source, const char* name)
    {
        const std::string folder = benchScratch() + "/warm-" + name + "/";
        std::error_code ignored;
        std::filesystem::create_directories(folder, ignored);
        const GLSLEffect::Compilation first = compile(source, EffectCompilerProcess(KVFXC_PATH, folder));
        if (!first.effect) {
            state.SkipWithError(("the effect does not compile: " + first.listing).c_str());
            return;
        }
        // No compiler to run: anything but a cache hit fails.
        const EffectCompilerProcess cacheOnly("/nonexistent/kvfxc", folder);
        for (auto _ : state) {
            const GLSLEffect::Compilation compiled = compile(source, cacheOnly);
            if (!compiled.effect) {
                state.SkipWithError(("the warm compile missed the cache: " + compiled.listing).c_str());
                break;
            }
            benchmark::DoNotOptimize(compiled.effect.get());
        }
    }

    void BM_EffectCompileTextCold(benchmark::State& state) { compileCold(state, kTextEffect); }
    void BM_EffectCompileTextWarm(benchmark::State& state) { compileWarm(state, kTextEffect, "text"); }
    void BM_EffectCompileTwoPassCold(benchmark::State& state) { compileCold(state, kTwoPassEffect); }
    void BM_EffectCompileTwoPassWarm(benchmark::State& state) { compileWarm(state, kTwoPassEffect, "two-pass"); }
}

BENCHMARK(BM_EffectCompileTextCold)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EffectCompileTextWarm)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_EffectCompileTwoPassCold)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EffectCompileTwoPassWarm)->Unit(benchmark::kMicrosecond)->UseRealTime();
