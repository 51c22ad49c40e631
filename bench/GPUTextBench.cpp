#include "EGLPlatform.h"
#include "GraphicPrimitives.h"
#include "OS.h"
#include "OpenGLUtils.h"

#include <benchmark/benchmark.h>

#include <string>

namespace
{
    // Draws a 25-character text per iteration into a GPU image, the text that
    // textOf gives for the iteration. OpenGL is waited for once, at the end:
    // waiting after every text would time the software driver's thread
    // hand-over, the same on both sides.
    template <class TextOf>
    void drawTexts(benchmark::State& state, TextOf textOf)
    {
        if (!OpenGLUtils::isAvailable()) {
            state.SkipWithError(("no OpenGL: " + EGLPlatform::instance().unavailableReason()).c_str());
            return;
        }
        iMediaServices* media = OS()->mediaServices();
        const Kv::Ptr<iFont> font = media->createGPUSurfaceFont(L"DejaVu Sans", 24, 0);
        const Kv::Ptr<iGPUImage> target = media->createGPUSurface({640, 64}, iGPUImage::eBGRA8);
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = target->getPrimitivesRenderer(false);
        unsigned iteration = 0;
        for (auto _ : state) {
            const TextDescription text(textOf(iteration++), XY<int>(4, 40), NormalisedRGB(1.0f, 0.9f, 0.2f),
                                       TextAlignment(), font);
            renderer->renderMulti(&text, 1);
        }
        glFinish();
    }

    void BM_GPUTextCached(benchmark::State& state)
    {
        drawTexts(state, [](unsigned) { return LightweightString<wchar_t>(L"Scene 12, take 3 (final)."); });
    }
    BENCHMARK(BM_GPUTextCached)->Unit(benchmark::kMicrosecond);

    // A text never drawn before: measured, drawn on the host and uploaded.
    void BM_GPUTextFirstTime(benchmark::State& state)
    {
        drawTexts(state, [](unsigned iteration) {
            std::wstring text = L"Scene 12, take " + std::to_wstring(iteration);
            text.resize(25, L'.');
            return LightweightString<wchar_t>(text.c_str());
        });
    }
    BENCHMARK(BM_GPUTextFirstTime)->Unit(benchmark::kMicrosecond);
}
