#include "EGLPlatform.h"
#include "GPUImage.h"
#include "OS.h"
#include "OpenGLContextProtector.h"
#include "OpenGLUtils.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace
{
    const XY<int> kHD(1920, 1080);
    const XY<int> k4K(3840, 2160);

    bool openGL(benchmark::State& state)
    {
        if (OpenGLUtils::isAvailable())
            return true;
        state.SkipWithError(("no OpenGL: " + EGLPlatform::instance().unavailableReason()).c_str());
        return false;
    }

    // A 4K host image of some non-uniform bytes.
    const Kv::Ptr<iHostImage>& hostImage4K()
    {
        static const Kv::Ptr<iHostImage> image = [] {
            const Kv::Ptr<iHostImage> made = OS()->mediaServices()->createHostSurface(k4K);
            const Kv::Ptr<iPixelGuard> pixels = made->lock();
            const std::size_t bytes = std::size_t(pixels->getStride()) * k4K.y;
            for (std::size_t index = 0; index < bytes; ++index)
                pixels->getPixels()[index] = static_cast<unsigned char>(index * 7 + (index >> 12));
            return made;
        }();
        return image;
    }

    // Every image after the first takes its texture from the cache.
    void BM_GPUImageCreateDestroyCached(benchmark::State& state)
    {
        if (!openGL(state))
            return;
        for (auto _ : state)
            benchmark::DoNotOptimize(GPUImage::create({kHD, iGPUImage::eBGRA8}));
    }
    BENCHMARK(BM_GPUImageCreateDestroyCached);

    void BM_GLTextureCreateDestroy(benchmark::State& state)
    {
        if (!openGL(state))
            return;
        const OpenGLContextProtector protector;
        for (auto _ : state) {
            GLuint texture = 0;
            glGenTextures(1, &texture);
            glBindTexture(GL_TEXTURE_2D, texture);
            glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, kHD.x, kHD.y, 0, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
            glBindTexture(GL_TEXTURE_2D, 0);
            glDeleteTextures(1, &texture);
        }
        glFinish();
    }
    BENCHMARK(BM_GLTextureCreateDestroy);

    // Both sides run inside one protector, so neither pays for making the
    // context current on each call.
    void BM_CopyToGPU4K(benchmark::State& state)
    {
        if (!openGL(state))
            return;
        const OpenGLContextProtector protector;
        iMediaServices* media = OS()->mediaServices();
        for (auto _ : state)
            benchmark::DoNotOptimize(media->copyToGPU(hostImage4K()));
        glFinish();
    }
    BENCHMARK(BM_CopyToGPU4K)->Unit(benchmark::kMillisecond);

    void BM_GLTexImage4K(benchmark::State& state)
    {
        if (!openGL(state))
            return;
        const OpenGLContextProtector protector;
        const Kv::Ptr<iPixelGuard> pixels = hostImage4K()->lock();
        GLuint texture = 0;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_2D, texture);
        for (auto _ : state)
            glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, k4K.x, k4K.y, 0, GL_BGRA, GL_UNSIGNED_BYTE, pixels->getPixels());
        glFinish();
        glBindTexture(GL_TEXTURE_2D, 0);
        glDeleteTextures(1, &texture);
    }
    BENCHMARK(BM_GLTexImage4K)->Unit(benchmark::kMillisecond);

    void BM_CopyToHost4K(benchmark::State& state)
    {
        if (!openGL(state))
            return;
        const OpenGLContextProtector protector;
        iMediaServices* media = OS()->mediaServices();
        const Kv::Ptr<iGPUImage> image = media->copyToGPU(hostImage4K());
        for (auto _ : state)
            benchmark::DoNotOptimize(media->copyToHost(image));
    }
    BENCHMARK(BM_CopyToHost4K)->Unit(benchmark::kMillisecond);

    // Into new memory each time, as a read-back needs somewhere to go.
    void BM_GLGetTexImage4K(benchmark::State& state)
    {
        if (!openGL(state))
            return;
        const OpenGLContextProtector protector;
        const Kv::Ptr<iGPUImage> image = OS()->mediaServices()->copyToGPU(hostImage4K());
        glBindTexture(GL_TEXTURE_2D, dynamic_cast<iOpenGLTexture&>(*image).getTextureID());
        for (auto _ : state) {
            const std::unique_ptr<unsigned char[]> pixels(new unsigned char[std::size_t(k4K.x) * k4K.y * 4]);
            glGetTexImage(GL_TEXTURE_2D, 0, GL_BGRA, GL_UNSIGNED_BYTE, pixels.get());
            benchmark::DoNotOptimize(pixels.get());
        }
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    BENCHMARK(BM_GLGetTexImage4K)->Unit(benchmark::kMillisecond);
}
