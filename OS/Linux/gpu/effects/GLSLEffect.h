#pragma once

#include "EffectCompilerProcess.h"
#include "EffectParser.h"
#include "GLSLEffectParameter.h"
#include "GLSLEffectPass.h"

#include <epoxy/gl.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// A compiled effect file: its techniques of passes, each pass a GLSL program
// for OpenGL's compatibility profile, and its parameters (values, textures and
// samplers) in the order the file declares them.
//
// Compiling needs no OpenGL: the Cg functions are translated by the effect
// compiler's process, and the effect constructs are read here. A technique
// whose shaders the compiler could not translate is invalid from the start.
// Validating a technique links its passes on the current context; a technique
// that fails to link, or reads more samplers than the context has texture
// units, is invalid and stays so.
//
// Samplers get texture units in the order the passes first read them, technique
// by technique, the same units in every pass.
class GLSLEffect
{
public:
    struct Technique
    {
        enum class eValidity { unknown, valid, invalid };

        std::string name;
        EffectAnnotations annotations;
        EffectScript script; // the commands of its Script annotation
        std::vector<std::unique_ptr<GLSLEffectPass>> passes;
        eValidity validity = eValidity::unknown;
        // When invalid, why: the compiler's lines "file(line) : error: message"
        // when it could not translate the technique, otherwise lines
        // "pass <name>: <message>".
        std::string validationLog;
    };

    struct Compilation
    {
        // Null when the file does not load or none of its techniques translates.
        std::unique_ptr<GLSLEffect> effect;
        // Lines "file(line) : error: message" and "file(line) : warning: message":
        // why the file does not compile, or the warnings and invalid techniques'
        // reasons of a file that does.
        std::string listing;
    };

    // The profile and the compiler definitions come in as macros. glslVersion
    // is 130 or 120; 0 takes 130 unless the current context offers less.
    // Includes are looked for beside the including file, then in includeFolders.
    static Compilation compileFile(const std::string& path, const EffectParser::Definitions& definitions,
                                   const EffectCompilerProcess& compiler = EffectCompilerProcess(),
                                   unsigned glslVersion = 0, const std::vector<std::string>& includeFolders = {});
    // name is what the listing calls the buffer; folder is where its includes
    // are looked for first, with its trailing "/", and may be empty.
    static Compilation compileBuffer(const std::string& source, const EffectParser::Definitions& definitions,
                                     const std::string& name = "effect", const std::string& folder = {},
                                     const EffectCompilerProcess& compiler = EffectCompilerProcess(),
                                     unsigned glslVersion = 0, const std::vector<std::string>& includeFolders = {});
    // The effect of a model and what the compiler made of it; with a technique
    // name, the compiler was asked for that technique and the effect holds it alone.
    static Compilation fromCompiled(const EffectModel& model, const EffectCompilerProcess::Result& compiled,
                                    const std::string& onlyTechnique = {});
    // 130 when no context is current or the current one offers GLSL 1.30, otherwise 120.
    static unsigned glslVersionOfCurrentContext();

    std::size_t techniqueCount() const { return techniques_.size(); }
    const Technique& technique(std::size_t index) const { return *techniques_[index]; }
    // Links the technique's passes on the current context the first time; later calls give the same answer.
    bool validateTechnique(std::size_t index);

    std::size_t parameterCount() const { return parameters_.size(); }
    GLSLEffectParameter& parameter(std::size_t index) const { return *parameters_[index]; }
    GLSLEffectParameter* findParameter(const std::string& name) const;
    // The texture the pass draws into, as its script names it; null for the
    // renderer's own target.
    GLSLEffectParameter* renderTarget(const GLSLEffectPass& pass) const;

    // The unit a sampler's texture is bound on, as GL_TEXTURE0 + n; 0 for a
    // sampler no pass reads.
    static GLenum textureEnum(const GLSLEffectParameter& sampler);

private:
    GLSLEffect() = default;

    void assignTextureUnits();

    std::vector<std::unique_ptr<Technique>> techniques_;
    GLSLEffectPass::Parameters parameters_;
};
