#include "GLSLEffect.h"

#include "CgEntryUniforms.h"

#include <EGL/egl.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <sstream>

GLSLEffect::Compilation GLSLEffect::compileFile(const std::string& path, const EffectParser::Definitions& definitions,
                                                const EffectCompilerProcess& compiler, unsigned glslVersion,
                                                const std::vector<std::string>& includeFolders)
{
    std::string source;
    if (!EffectPreprocessor::readFile(path, source)) {
        Compilation failed;
        failed.listing = effectListing({EffectError(EffectLocation(path, 0), "the file cannot be read")});
        return failed;
    }
    return compileBuffer(source, definitions, path, EffectPreprocessor::folderOf(path), compiler, glslVersion,
                         includeFolders);
}

GLSLEffect::Compilation GLSLEffect::compileBuffer(const std::string& source,
                                                  const EffectParser::Definitions& definitions,
                                                  const std::string& name, const std::string& folder,
                                                  const EffectCompilerProcess& compiler, unsigned glslVersion,
                                                  const std::vector<std::string>& includeFolders)
{
    EffectCompilerProcess::Request request;
    request.name = name;
    request.folder = folder;
    request.source = source;
    request.definitions = definitions;
    request.glslVersion = glslVersion ? glslVersion : glslVersionOfCurrentContext();
    request.includeFolders = includeFolders;
    const EffectCompilerProcess::Result compiled = compiler.compile(request);
    if (!compiled.succeeded) {
        Compilation failed;
        failed.listing = compiled.listing;
        return failed;
    }
    // The compiler read the same text; reading it again here is quicker than
    // sending the whole model across.
    return fromCompiled(EffectParser::parseBuffer(source, name, folder, definitions, includeFolders), compiled);
}

unsigned GLSLEffect::glslVersionOfCurrentContext()
{
    if (eglGetCurrentContext() == EGL_NO_CONTEXT)
        return 130;
    // "1.20", or "4.50 (Compatibility Profile) Mesa ...".
    const auto* version = reinterpret_cast<const char*>(glGetString(GL_SHADING_LANGUAGE_VERSION));
    unsigned major = 0, minor = 0;
    if (version == nullptr || std::sscanf(version, "%u.%u", &major, &minor) != 2)
        return 130;
    return major * 100 + minor >= 130 ? 130 : 120;
}

GLSLEffect::Compilation GLSLEffect::fromCompiled(const EffectModel& model, const EffectCompilerProcess::Result& compiled,
                                                 const std::string& onlyTechnique)
{
    Compilation compilation;
    std::vector<EffectError> errors = model.errors;
    std::unique_ptr<GLSLEffect> effect(new GLSLEffect);
    for (const EffectGlobal& global : model.globals) {
        switch (global.kind) {
        case EffectGlobal::eTexture:
            effect->parameters_.push_back(std::make_unique<GLSLEffectParameter>(model.textures[global.index]));
            break;
        case EffectGlobal::eSampler:
            effect->parameters_.push_back(std::make_unique<GLSLEffectParameter>(model.samplers[global.index]));
            break;
        case EffectGlobal::eParameter:
            effect->parameters_.push_back(std::make_unique<GLSLEffectParameter>(model.parameters[global.index]));
            break;
        }
    }

    CgEntryUniforms::appendTo(model, effect->parameters_);

    // The compiler answers with the shaders of the valid techniques, in the order they bind them.
    auto shader = compiled.shaders.begin();
    for (std::size_t index = 0; index < model.techniques.size(); ++index) {
        const EffectTechnique& technique = model.techniques[index];
        if (!onlyTechnique.empty() && technique.name != onlyTechnique)
            continue;
        auto built = std::make_unique<Technique>();
        built->name = technique.name;
        built->annotations = technique.annotations;
        const auto invalid = std::find_if(compiled.invalidTechniques.begin(), compiled.invalidTechniques.end(),
                                          [&](const auto& refused) { return refused.index == index; });
        if (invalid != compiled.invalidTechniques.end()) {
            built->validity = Technique::eValidity::invalid;
            built->validationLog = invalid->reason;
        }
        built->script = technique.script;
        for (const EffectPass& pass : technique.passes) {
            std::string glsl[2];
            for (const EffectShaderBinding& binding : pass.shaders) {
                if (binding.entry.empty() || built->validity == Technique::eValidity::invalid)
                    continue;
                const CgTranslator::eStage stage = binding.stage == EffectShaderBinding::eVertex
                                                       ? CgTranslator::eStage::vertex
                                                       : CgTranslator::eStage::pixel;
                if (shader == compiled.shaders.end() || shader->entry != binding.entry || shader->stage != stage ||
                    shader->technique != technique.name || shader->pass != pass.name) {
                    errors.emplace_back(binding.location, "the effect compiler's answer does not match the file");
                    break;
                }
                glsl[stage == CgTranslator::eStage::vertex ? 0 : 1] = (shader++)->glsl;
            }
            built->passes.push_back(
                std::make_unique<GLSLEffectPass>(pass, std::move(glsl[0]), std::move(glsl[1]), errors));
        }
        effect->techniques_.push_back(std::move(built));
    }
    // The passes' warnings are the compiler's again, and already in its listing.
    errors.erase(std::remove_if(errors.begin(), errors.end(),
                                [](const EffectError& error) { return error.severity == EffectError::eWarning; }),
                 errors.end());
    if (!errors.empty()) {
        compilation.listing = effectListing(errors);
        return compilation;
    }
    effect->assignTextureUnits();
    compilation.effect = std::move(effect);
    compilation.listing = compiled.listing;
    return compilation;
}

void GLSLEffect::assignTextureUnits()
{
    // TEXUNITn asks for unit n; the others take the free units in order.
    std::set<int> taken;
    for (const auto& parameter : parameters_) {
        const std::string& semantic = parameter->semantic();
        if (parameter->kind() == GLSLEffectParameter::eKind::sampler && semantic.size() > 7 &&
            semantic.size() <= 9 && effectWord(semantic.substr(0, 7)) == "texunit" &&
            semantic.find_first_not_of("0123456789", 7) == std::string::npos) {
            parameter->setUnit(std::stoi(semantic.substr(7)));
            taken.insert(parameter->unit());
        }
    }
    int next = 0;
    for (const auto& technique : techniques_) {
        for (const auto& pass : technique->passes) {
            for (const std::string& name : pass->samplerNames()) {
                GLSLEffectParameter* sampler = findParameter(name);
                if (!sampler || sampler->kind() != GLSLEffectParameter::eKind::sampler || sampler->unit() >= 0)
                    continue;
                while (taken.count(next))
                    ++next;
                sampler->setUnit(next++);
            }
        }
    }
}

bool GLSLEffect::validateTechnique(std::size_t index)
{
    if (index >= techniques_.size())
        return false;
    Technique& technique = *techniques_[index];
    if (technique.validity != Technique::eValidity::unknown)
        return technique.validity == Technique::eValidity::valid;
    GLint units = 0;
    glGetIntegerv(GL_MAX_TEXTURE_IMAGE_UNITS, &units);
    std::string log;
    for (const auto& pass : technique.passes) {
        for (const std::string& name : pass->samplerNames()) {
            const GLSLEffectParameter* sampler = findParameter(name);
            if (sampler && sampler->unit() >= units) {
                log.append("pass ").append(pass->name()).append(": the sampler ").append(name);
                log.append(" needs texture unit ");
                log.append(std::to_string(sampler->unit())).append(", beyond the ").append(std::to_string(units));
                log.append(" this OpenGL has\n");
            }
        }
        std::string passLog;
        if (pass->link(parameters_, passLog))
            continue;
        std::istringstream lines(passLog.empty() ? "the driver refused the pass" : passLog);
        for (std::string line; std::getline(lines, line);) {
            line.erase(line.find_last_not_of(" \t\r") + 1);
            if (!line.empty())
                log.append("pass ").append(pass->name()).append(": ").append(line).append("\n");
        }
    }
    technique.validity = log.empty() ? Technique::eValidity::valid : Technique::eValidity::invalid;
    technique.validationLog = std::move(log);
    return technique.validity == Technique::eValidity::valid;
}

GLSLEffectParameter* GLSLEffect::findParameter(const std::string& name) const
{
    const auto found = std::find_if(parameters_.begin(), parameters_.end(),
                                    [&](const auto& parameter) { return parameter->name() == name; });
    return found == parameters_.end() ? nullptr : found->get();
}

GLSLEffectParameter* GLSLEffect::renderTarget(const GLSLEffectPass& pass) const
{
    GLSLEffectParameter* target = pass.renderColorTarget().empty() ? nullptr : findParameter(pass.renderColorTarget());
    return target && target->kind() == GLSLEffectParameter::eKind::texture ? target : nullptr;
}

GLenum GLSLEffect::textureEnum(const GLSLEffectParameter& sampler)
{
    return sampler.unit() < 0 ? 0 : GLenum(GL_TEXTURE0 + sampler.unit());
}
