#include "BenchScratch.h"

#include "../OS/Linux/gpu/effects/GLSLEffect.h"
#include "EGLPlatform.h"
#include "OpenGLContextProtector.h"
#include "OpenGLUtils.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <system_error>

// A large effect as a grading package ships it: about 2,000 lines, ten
// functions, three techniques. Cold is the editor's first compile (a new
// kvfxc, an empty cache); its three stages are timed apart: reading the file,
// reading and translating it as the compiler process does, and linking every
// pass on the driver.
namespace
{
    constexpr int kHelpers = 7;
    constexpr int kStatementsPerHelper = 270;

    std::string largeEffect()
    {
        std::string source = "texture Input;\n"
                             "sampler2D InputSampler = sampler_state { Texture = <Input>; AddressU = Clamp; };\n"
                             "float4 Tint < string UIName = \"Tint\"; > = {1, 0.9, 0.8, 1};\n"
                             "float Gain = 0.5;\n"
                             "float3x3 Grade = {1, 0, 0, 0, 1, 0, 0, 0, 1};\n";
        for (int helper = 0; helper < kHelpers; ++helper) {
            const std::string index = std::to_string(helper);
            source += "float4 stage" + index + "(float4 colour, float2 uv)\n{\n    float4 value = colour;\n";
            for (int statement = 0; statement < kStatementsPerHelper; ++statement) {
                const std::string step = std::to_string(statement % 17 + 1);
                switch (statement % 4) {
                case 0: source += "    value = value * 0.98 + sin(value.yzwx * " + step + ".0) * 0.02;\n"; break;
                case 1: source += "    value.rgb = mul(Grade, value.rgb) + float3(uv, 0) * 0.001;\n"; break;
                case 2: source += "    value = lerp(value, saturate(value * Tint), 0.0" + step + ");\n"; break;
                default: source += "    if (value.a > 0.9" + step + ") value.a -= 0.001 * Gain;\n"; break;
                }
            }
            source += "    return value;\n}\n";
        }
        for (int entry = 0; entry < 3; ++entry) {
            source += "float4 technique" + std::to_string(entry) + "Main(float2 uv : TEXCOORD0) : COLOR\n{\n"
                      "    float4 colour = tex2D(InputSampler, uv);\n";
            for (int helper = entry; helper < kHelpers; helper += 3)
                source += "    colour = stage" + std::to_string(helper) + "(colour, uv);\n";
            source += "    return colour;\n}\n";
        }
        for (int entry = 0; entry < 3; ++entry)
            source += "technique T" + std::to_string(entry) + " { pass P { PixelShader = compile PROFILE technique" +
                      std::to_string(entry) + "Main(); } }\n";
        return source;
    }

    const std::string& effect()
    {
        static const std::string source = largeEffect();
        return source;
    }

    const EffectParser::Definitions kDefinitions = {{"PROFILE", "glslf"}};

    EffectCompilerProcess::Request request()
    {
        EffectCompilerProcess::Request request;
        request.name = "large.fx";
        request.folder = "/tmp/";
        request.source = effect();
        request.definitions = kDefinitions;
        request.glslVersion = 130;
        return request;
    }

    void BM_EffectLargeCold(benchmark::State& state)
    {
        unsigned made = 0;
        for (auto _ : state) {
            state.PauseTiming();
            const std::string folder = benchScratch() + "/large-" + std::to_string(made++) + "/";
            std::error_code ignored;
            std::filesystem::create_directories(folder, ignored);
            state.ResumeTiming();

            const GLSLEffect::Compilation compiled = GLSLEffect::compileBuffer(
                effect(), kDefinitions, "large.fx", "/tmp/", EffectCompilerProcess(KVFXC_PATH, folder), 130);

            state.PauseTiming();
            std::filesystem::remove_all(folder, ignored);
            if (!compiled.effect || compiled.effect->techniqueCount() != 3) {
                state.SkipWithError(("the large effect does not compile: " + compiled.listing).c_str());
                break;
            }
            state.ResumeTiming();
        }
    }

    void BM_EffectLargeParse(benchmark::State& state)
    {
        for (auto _ : state) {
            const EffectModel model = EffectParser::parseBuffer(effect(), "large.fx", "/tmp/", kDefinitions);
            if (model.failed() || model.functions.size() != 10) {
                state.SkipWithError("the large effect does not parse");
                break;
            }
        }
    }

    void BM_EffectLargeTranslate(benchmark::State& state)
    {
        const EffectCompilerProcess::Request asked = request();
        for (auto _ : state) {
            const EffectCompilerProcess::Result result = EffectCompilerProcess::compileHere(asked);
            if (!result.succeeded) {
                state.SkipWithError(("the large effect does not translate: " + result.listing).c_str());
                break;
            }
        }
    }

    void BM_EffectLargeLink(benchmark::State& state)
    {
        if (!OpenGLUtils::isAvailable()) {
            state.SkipWithError(("no OpenGL to link on: " + EGLPlatform::instance().unavailableReason()).c_str());
            return;
        }
        const OpenGLContextProtector protector;
        const EffectModel model = EffectParser::parseBuffer(effect(), "large.fx", "/tmp/", kDefinitions);
        const EffectCompilerProcess::Result compiled = EffectCompilerProcess::compileHere(request());
        for (auto _ : state) {
            GLSLEffect::Compilation compilation = GLSLEffect::fromCompiled(model, compiled);
            bool linked = compilation.effect != nullptr;
            for (std::size_t technique = 0; linked && technique < compilation.effect->techniqueCount(); ++technique)
                linked = compilation.effect->validateTechnique(technique);
            if (!linked) {
                state.SkipWithError("the large effect does not link");
                break;
            }
        }
    }
}

BENCHMARK(BM_EffectLargeCold)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EffectLargeParse)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EffectLargeTranslate)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EffectLargeLink)->Unit(benchmark::kMillisecond)->UseRealTime();
