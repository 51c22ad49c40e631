#pragma once

#include "GLSLEffect.h"
#include "GLSLShaderParam.h"
#include "iShaderEffect.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// An effect file compiled by the library's effect compiler, as the
// application uses it: the techniques that validate on this OpenGL, the value
// parameters, texture inputs found by name, and passes rendered one after the
// other, each pass into an image of its own when the next one reads it.
//
// Inputs are the effect's textures; a source reaches every sampler of its
// texture. Textures whose semantic is RENDERCOLORTARGET are what passes draw
// into: a pass's Script "RenderColorTarget0=name;" names its own.
//
// Textures handed to a render are bound as each pass starts, and parameter
// values reach the GPU then too, so a value set on one thread shows in the
// next pass on any. Rendering needs the GPU lock and a context: render(Target)
// takes them itself, renderPass and renderQuadrilateral run inside the
// caller's renderer. The effect is not otherwise locked: one thread renders
// it at a time.
class GLSLShaderEffect : public iOpenGLShaderEffect
{
public:
    // A texture of the effect, with its parameter.
    struct InputEx : iShaderEffect::Input
    {
        explicit InputEx(const GLSLEffectParameter* parameter);

        const GLSLEffectParameter* parameter;
    };

    // A 2D or 3D sampler and the texture it reads. Address modes are OpenGL's,
    // with Clamp as clamp-to-edge.
    struct Sampler
    {
        Sampler(const GLSLEffect& effect, const GLSLEffectParameter& sampler);

        const GLSLEffectParameter* sampler;
        const GLSLEffectParameter* texture; // null when it names no texture of the effect
        std::uint32_t addressU = 0x2901; // GL_REPEAT
        std::uint32_t addressV = 0x2901;
    };

    // The compiler's messages come back with a null effect when the file does
    // not compile: for a file the whole listing as one message, for a buffer
    // one message per line, with the line counted from 0 where it has one.
    // An effect none of whose techniques validates exists but renders nothing.
    // Without OpenGL the output is empty.
    static ShaderCompilationOutput load(const LightweightString<char>& path,
                                        const std::vector<CompilerDefinition>& definitions);
    static ShaderCompilationOutput loadFromBuffer(const LightweightString<char>& source,
                                                  const std::vector<CompilerDefinition>& definitions);

    // Validates the techniques: a context must be current.
    GLSLShaderEffect(std::shared_ptr<GLSLEffect> effect, const LightweightString<wchar_t>& sourceFile);

    bool setValue(const LightweightString<char>& name, float value) override;
    bool setValue(const LightweightString<char>& name, const NormalisedRGB& value) override;
    bool setValue(const LightweightString<char>& name, int value) override;
    bool setTechnique(const LightweightString<char>& name) override;
    bool setTechnique(unsigned int index) override;
    LightweightString<wchar_t> getSourceFile() const override { return sourceFile_; }
    unsigned int getNumInputs() const override { return unsigned(inputs_.size()); }
    unsigned int getNumParams() const override { return unsigned(params_.size()); }
    Kv::Ptr<iShaderParam> getParam(unsigned int index) const override;
    Kv::Ptr<iShaderParam> getParam(const char* name) const override;
    Input getInput(unsigned int index) const override;
    Kv::Ptr<iGPUImage> render(const XY<int>& size, const std::vector<Source>& sources,
                              iGPUImage::eFormat format) override;
    // Into a GPUImage of this library; the blend mode is not read.
    void render(Target target, const std::vector<Source>& sources, eBlendMode blend) override;
    // Pass 0 takes the sources: source i is read through texture coordinate
    // set i + 1, and the sets around them get the unit square.
    void renderPass(unsigned short pass, const Kv::Rectangle<float>& rectangle,
                    const std::vector<Source>& sources) override;
    // Source i is read through coordinate set i here, deliberately.
    void renderQuadrilateral(const XY<float>& a, const XY<float>& b, const XY<float>& c, const XY<float>& d,
                             const std::vector<Source>& sources) override;

    const std::vector<Sampler>& getSamplers() const { return samplers_; }

private:
    static EffectParser::Definitions buildDefs(const std::vector<CompilerDefinition>& definitions);
    static ShaderCompilationOutput output(GLSLEffect::Compilation compilation,
                                          const LightweightString<wchar_t>& sourceFile,
                                          std::vector<ShaderCompilationOutput::Error> (*errorsOf)(const std::string&));

    void findTechniques();
    void findParams();
    void findInputs();
    void findPasses();
    void bindTextures(const std::vector<Source>& sources);
    // Takes effect as the next pass starts; texture 0 unbinds. Between
    // renders nothing is bound and this does nothing.
    void bindTexture(const InputEx& input, std::uint32_t texture);
    void unbindTextures();
    void beginPass(const GLSLEffectPass& pass) const;
    void endPass(const GLSLEffectPass& pass) const;
    // A vertex's coordinates on each unit up to the one past the sources: the
    // stored sources' given corner from firstSourceUnit on, elsewhere outside.
    void texCoords(unsigned firstSourceUnit, unsigned corner, const XY<float>& outside) const;

    std::map<std::string, const GLSLEffect::Technique*> techniquesByName_;
    std::vector<const GLSLEffect::Technique*> techniques_;
    std::vector<Kv::Ptr<GLSLShaderParam>> params_;
    std::map<std::string, Kv::Ptr<GLSLShaderParam>> paramsByName_;
    std::vector<Sampler> samplers_;
    std::vector<InputEx> inputs_;
    std::map<std::string, InputEx> inputsByName_;
    // The texture of each sampler, from the first pass that takes sources
    // until the render ends; empty between renders.
    std::vector<std::uint32_t> boundTextures_;
    std::vector<InputEx> renderTargets_;
    std::vector<std::pair<const GLSLEffectPass*, const GLSLEffectParameter*>> passes_; // and the pass's target
    const GLSLEffect::Technique* technique_ = nullptr;
    std::shared_ptr<GLSLEffect> effect_;
    LightweightString<wchar_t> sourceFile_;
    unsigned numTextureUnits_ = 0;
    std::vector<Source> sources_;
};
