#include "EGLPlatform.h"
#include "GLSLEffect.h"
#include "GPUImage.h"
#include "OS.h"
#include "OpenGLContextProtector.h"
#include "OpenGLUtils.h"

#include <benchmark/benchmark.h>

namespace
{
    const XY<int> kHD(1920, 1080);

    // A colour grade: one texture fetch and some arithmetic per pixel.
    const char kGradeEffect[] = R"(texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; };
float4 Lift = {0.1, 0.05, 0.0, 0.0};
float Gain = 1.2;
float4 grade(float2 uv : TEXCOORD1) : COLOR
{
    float4 colour = tex2D(InputSampler, uv);
    return saturate(colour * Gain + Lift);
}
technique Grade { pass Only { PixelShader = compile PROFILE grade(); } }
)";

    bool openGL(benchmark::State& state)
    {
        if (OpenGLUtils::isAvailable())
            return true;
        state.SkipWithError(("no OpenGL: " + EGLPlatform::instance().unavailableReason()).c_str());
        return false;
    }

    Kv::Ptr<iGPUImage> hdImage() { return OS()->mediaServices()->createGPUSurface(kHD, iGPUImage::eBGRA8); }

    // Both sides run inside one protector and wait for OpenGL after each frame.
    void BM_EffectRenderHD(benchmark::State& state)
    {
        if (!openGL(state))
            return;
        const Kv::Ptr<iShaderEffect> effect = OS()->mediaServices()->compileFXFileFromBuffer(kGradeEffect, {}).effect;
        if (!effect) {
            state.SkipWithError("the grade effect does not compile");
            return;
        }
        iShaderEffect::Source source("Input", hdImage());
        source.texCoords[1] = {1, 0};
        source.texCoords[2] = {0, 1};
        source.texCoords[3] = {1, 1};
        const std::vector<iShaderEffect::Source> sources{source};
        const Kv::Ptr<iGPUImage> target = hdImage();
        const OpenGLContextProtector protector;
        for (auto _ : state) {
            effect->render(iShaderEffect::Target{target, nullptr}, sources, iShaderEffect::eBlendMode(0));
            glFinish();
        }
    }
    BENCHMARK(BM_EffectRenderHD)->Unit(benchmark::kMillisecond);

    // The same program, bound and drawn by hand into the same kind of target.
    void BM_GLSLProgramByHandHD(benchmark::State& state)
    {
        if (!openGL(state))
            return;
        GLSLEffect::Compilation compilation = GLSLEffect::compileBuffer(kGradeEffect, {{"PROFILE", "glslf"}});
        const OpenGLContextProtector protector;
        if (!compilation.effect || !compilation.effect->validateTechnique(0)) {
            state.SkipWithError("the grade effect does not compile");
            return;
        }
        const GLSLEffectPass& pass = *compilation.effect->technique(0).passes.front();
        const GLuint program = pass.program();
        const int unit = compilation.effect->findParameter("InputSampler")->unit();
        const Kv::Ptr<iGPUImage> source = hdImage();
        const Kv::Ptr<GPUImage> target = Kv::dynamicCast<GPUImage>(hdImage());
        OpenGLUtils::instance().pushRenderTarget(target);
        glUseProgram(program);
        pass.updateParameters(); // the uniforms' values, once
        glUseProgram(0);
        for (auto _ : state) {
            glUseProgram(program);
            glActiveTexture(GLenum(GL_TEXTURE0 + unit));
            glBindTexture(GL_TEXTURE_2D, dynamic_cast<iOpenGLTexture&>(*source).getTextureID());
            glBegin(GL_QUADS);
            const int corners[4][2] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
            for (const auto& corner : corners) {
                glMultiTexCoord2f(GL_TEXTURE1, float(corner[0]), float(corner[1]));
                glVertex2i(corner[0] * kHD.x, corner[1] * kHD.y);
            }
            glEnd();
            glUseProgram(0);
            glFinish();
        }
        glBindTexture(GL_TEXTURE_2D, 0);
        glActiveTexture(GL_TEXTURE0);
        OpenGLUtils::instance().popRenderTarget();
    }
    BENCHMARK(BM_GLSLProgramByHandHD)->Unit(benchmark::kMillisecond);
}
