#include "GLSLShaderEffect.h"

#include "CriticalSectionLock.h"
#include "GPUImage.h"
#include "OS.h"
#include "OpenGLContextProtector.h"
#include "OpenGLUtils.h"

#include <strings.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace {

using Errors = std::vector<ShaderCompilationOutput::Error>;

// The GLSL version every compile asks for: the library's contexts all come
// from one driver, so it is asked once. Racing first compiles ask twice, harmlessly.
unsigned glslVersion()
{
    static std::atomic<unsigned> version = 0;
    if (version == 0) {
        const OpenGLContextProtector protector;
        version = GLSLEffect::glslVersionOfCurrentContext();
    }
    return version;
}

// The passes' programs are deleted on the share group, whichever thread lets the effect go.
void releaseEffect(GLSLEffect* effect)
{
    const OpenGLContextProtector protector;
    delete effect;
}

Errors wholeListing(const std::string& listing)
{
    if (listing.empty())
        return {};
    return {{LightweightString<char>(listing.c_str()), 0xFFFF}};
}

// "file(12) : error: message" gives line 11 and "message"; other lines stay
// whole, without a line. A line 0, which the compiler gives when it has none,
// wraps to 0xFFFF.
Errors listingLines(const std::string& listing)
{
    Errors errors;
    for (std::size_t start = 0; start < listing.size();) {
        std::size_t end = listing.find('\n', start);
        if (end == std::string::npos)
            end = listing.size();
        std::string line = listing.substr(start, end - start);
        start = end + 1;
        if (line.empty())
            continue;
        ShaderCompilationOutput::Error error;
        const std::size_t marker = line.find(": error");
        const std::size_t colon = marker == std::string::npos ? marker : line.find(':', marker + 1);
        if (colon != std::string::npos) {
            const std::size_t open = line.rfind('(', marker);
            if (open != std::string::npos)
                error.line = std::uint16_t(std::atoi(line.c_str() + open + 1) - 1);
            line.erase(0, std::min(colon + 2, line.size()));
        }
        error.message = LightweightString<char>(line.c_str());
        errors.push_back(error);
    }
    return errors;
}

} // namespace

GLSLShaderEffect::InputEx::InputEx(const GLSLEffectParameter* parameter) : parameter(parameter)
{
    if (!parameter)
        return;
    name = parameter->name().c_str();
    const EffectAnnotation* resourceAnnotation = parameter->findAnnotation("Resource");
    if (resourceAnnotation && resourceAnnotation->type == EffectAnnotation::eString)
        resource = resourceAnnotation->text.c_str();
}

GLSLShaderEffect::Sampler::Sampler(const GLSLEffect& effect, const GLSLEffectParameter& sampler)
    : sampler(&sampler), texture(effect.findParameter(sampler.textureName()))
{
    if (texture && texture->kind() != GLSLEffectParameter::eKind::texture)
        texture = nullptr;
    for (const GLSLEffectParameter::SamplerState& state : sampler.samplerStates()) {
        if (state.type != GLSLEffectParameter::SamplerState::eType::integer)
            continue;
        const std::uint32_t mode = state.value == GL_CLAMP ? GL_CLAMP_TO_EDGE : std::uint32_t(state.value);
        if (::strcasecmp(state.name.c_str(), "AddressU") == 0)
            addressU = mode;
        else if (::strcasecmp(state.name.c_str(), "AddressV") == 0)
            addressV = mode;
    }
}

EffectParser::Definitions GLSLShaderEffect::buildDefs(const std::vector<CompilerDefinition>& definitions)
{
    EffectParser::Definitions built = {{"PROFILE", "glslf"}, {"OSX", "1"}};
    for (const CompilerDefinition& definition : definitions)
        built.emplace_back(definition.name.c_str(), definition.value.c_str());
    return built;
}

// The compile runs without the GPU lock: the compiler is a process of its own
// and may take seconds, and no renderer should wait for it.
ShaderCompilationOutput GLSLShaderEffect::load(const LightweightString<char>& path,
                                               const std::vector<CompilerDefinition>& definitions)
{
    if (!OpenGLUtils::isAvailable())
        return {};
    GLSLEffect::Compilation compilation =
        GLSLEffect::compileFile(path.c_str(), buildDefs(definitions), EffectCompilerProcess(), glslVersion());
    return output(std::move(compilation), OS()->utils()->fromUTF8(path.c_str(), -1), wholeListing);
}

ShaderCompilationOutput GLSLShaderEffect::loadFromBuffer(const LightweightString<char>& source,
                                                         const std::vector<CompilerDefinition>& definitions)
{
    if (!OpenGLUtils::isAvailable())
        return {};
    GLSLEffect::Compilation compilation =
        GLSLEffect::compileBuffer(std::string(source.c_str(), source.size()), buildDefs(definitions), "effect", {},
                                  EffectCompilerProcess(), glslVersion());
    return output(std::move(compilation), {}, listingLines);
}

ShaderCompilationOutput GLSLShaderEffect::output(GLSLEffect::Compilation compilation,
                                                 const LightweightString<wchar_t>& sourceFile,
                                                 Errors (*errorsOf)(const std::string&))
{
    ShaderCompilationOutput output;
    if (!compilation.effect) {
        output.errors = errorsOf(compilation.listing);
        return output;
    }
    const std::shared_ptr<GLSLEffect> effect(compilation.effect.release(), releaseEffect);
    const OpenGLContextProtector protector;
    output.effect = Kv::Ptr<iShaderEffect>(new GLSLShaderEffect(effect, sourceFile));
    return output;
}

GLSLShaderEffect::GLSLShaderEffect(std::shared_ptr<GLSLEffect> effect, const LightweightString<wchar_t>& sourceFile)
    : effect_(std::move(effect)), sourceFile_(sourceFile)
{
    findTechniques();
    if (technique_) {
        findParams();
        findInputs();
        findPasses();
    }
    numTextureUnits_ = std::min<unsigned>(OpenGLUtils::getNumTextureUnits(), 8);
}

void GLSLShaderEffect::findTechniques()
{
    for (std::size_t index = 0; index < effect_->techniqueCount(); ++index) {
        if (!effect_->validateTechnique(index))
            continue;
        const GLSLEffect::Technique* technique = &effect_->technique(index);
        if (!technique_)
            technique_ = technique;
        techniquesByName_[technique->name] = technique;
        techniques_.push_back(technique);
    }
}

void GLSLShaderEffect::findParams()
{
    for (std::size_t index = 0; index < effect_->parameterCount(); ++index) {
        GLSLEffectParameter& parameter = effect_->parameter(index);
        if (parameter.kind() != GLSLEffectParameter::eKind::value)
            continue;
        const Kv::Ptr<GLSLShaderParam> param(new GLSLShaderParam(effect_, parameter));
        params_.push_back(param);
        paramsByName_[parameter.name()] = param;
    }
}

void GLSLShaderEffect::findInputs()
{
    for (std::size_t index = 0; index < effect_->parameterCount(); ++index) {
        const GLSLEffectParameter& parameter = effect_->parameter(index);
        if (parameter.kind() == GLSLEffectParameter::eKind::sampler) {
            const GLenum target = parameter.textureTarget();
            if (target == GL_TEXTURE_2D || target == GL_TEXTURE_3D)
                samplers_.emplace_back(*effect_, parameter);
        } else if (parameter.kind() == GLSLEffectParameter::eKind::texture) {
            const InputEx input(&parameter);
            if (parameter.semantic() == "RENDERCOLORTARGET") {
                renderTargets_.push_back(input);
                continue;
            }
            inputs_.push_back(input);
            inputsByName_.emplace(parameter.name(), input);
            if (parameter.name().rfind('_', 0) == 0)
                inputsByName_.emplace(parameter.name().substr(1), input);
        }
    }
}

void GLSLShaderEffect::findPasses()
{
    passes_.clear();
    for (const auto& pass : technique_->passes) {
        const GLSLEffectParameter* target = effect_->renderTarget(*pass);
        const bool known = std::any_of(renderTargets_.begin(), renderTargets_.end(),
                                       [&](const InputEx& renderTarget) { return renderTarget.parameter == target; });
        passes_.emplace_back(pass.get(), known ? target : nullptr);
    }
}

bool GLSLShaderEffect::setValue(const LightweightString<char>& name, float value)
{
    return setFloat(name.c_str(), value);
}

bool GLSLShaderEffect::setValue(const LightweightString<char>& name, const NormalisedRGB& value)
{
    return setColour(name.c_str(), value);
}

bool GLSLShaderEffect::setValue(const LightweightString<char>& name, int value)
{
    return setInt(name.c_str(), value);
}

bool GLSLShaderEffect::setTechnique(const LightweightString<char>& name)
{
    const auto found = techniquesByName_.find(name.c_str());
    if (found == techniquesByName_.end())
        return false;
    technique_ = found->second;
    findPasses();
    return true;
}

bool GLSLShaderEffect::setTechnique(unsigned int index)
{
    if (index >= techniques_.size())
        return false;
    technique_ = techniques_[index];
    findPasses();
    return true;
}

Kv::Ptr<iShaderParam> GLSLShaderEffect::getParam(unsigned int index) const
{
    return index < params_.size() ? params_[index] : nullptr;
}

Kv::Ptr<iShaderParam> GLSLShaderEffect::getParam(const char* name) const
{
    const auto found = name ? paramsByName_.find(name) : paramsByName_.end();
    return found != paramsByName_.end() ? found->second : nullptr;
}

iShaderEffect::Input GLSLShaderEffect::getInput(unsigned int index) const
{
    return index < inputs_.size() ? Input(inputs_[index]) : Input();
}

// Every sampler starts unbound: a texture an earlier call gave may have gone
// back to the cache since, and be another image's now.
void GLSLShaderEffect::bindTextures(const std::vector<Source>& sources)
{
    boundTextures_.assign(samplers_.size(), 0);
    sources_.clear();
    for (const Source& source : sources) {
        sources_.push_back(source);
        const auto input = inputsByName_.find(source.name.c_str());
        if (input == inputsByName_.end())
            continue;
        const auto* texture = dynamic_cast<const iOpenGLTexture*>(source.resource.get());
        bindTexture(input->second, texture ? texture->getTextureID() : 0);
    }
}

void GLSLShaderEffect::bindTexture(const InputEx& input, std::uint32_t texture)
{
    for (std::size_t index = 0; index < boundTextures_.size(); ++index)
        if (samplers_[index].texture == input.parameter)
            boundTextures_[index] = texture;
}

// The pass's attribute group has already put the units back as they were:
// what is left is to let go of the textures.
void GLSLShaderEffect::unbindTextures()
{
    for (Source& source : sources_)
        source.resource = nullptr;
    boundTextures_.clear();
}

void GLSLShaderEffect::beginPass(const GLSLEffectPass& pass) const
{
    glPushAttrib(GL_TEXTURE_BIT);
    pass.setState();
    for (std::size_t index = 0; index < boundTextures_.size(); ++index)
        samplers_[index].sampler->setup(boundTextures_[index]);
    pass.updateParameters();
}

void GLSLShaderEffect::endPass(const GLSLEffectPass& pass) const
{
    pass.resetState();
    glPopAttrib();
}

void GLSLShaderEffect::texCoords(unsigned firstSourceUnit, unsigned corner, const XY<float>& outside) const
{
    const unsigned units = std::min(unsigned(sources_.size()) + 2, numTextureUnits_);
    for (unsigned unit = 0; unit < units; ++unit) {
        const bool source = unit >= firstSourceUnit && unit - firstSourceUnit < sources_.size();
        const XY<float>& coordinate = source ? sources_[unit - firstSourceUnit].texCoords[corner] : outside;
        glMultiTexCoord2f(GL_TEXTURE0 + unit, coordinate.x, coordinate.y);
    }
}

void GLSLShaderEffect::renderPass(unsigned short pass, const Kv::Rectangle<float>& rectangle,
                                  const std::vector<Source>& sources)
{
    if (pass >= passes_.size())
        return;
    if (pass == 0)
        bindTextures(sources);
    const GLSLEffectPass& effectPass = *passes_[pass].first;
    beginPass(effectPass);
    // Corners top left, bottom left, bottom right, top right: the sources'
    // corners 0, 2, 3, 1.
    const XY<float> vertices[] = {{rectangle.left, rectangle.top},
                                  {rectangle.left, rectangle.bottom},
                                  {rectangle.right, rectangle.bottom},
                                  {rectangle.right, rectangle.top}};
    const XY<float> square[] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
    const unsigned corners[] = {0, 2, 3, 1};
    glBegin(GL_QUADS);
    for (unsigned vertex = 0; vertex < 4; ++vertex) {
        texCoords(1, corners[vertex], square[vertex]);
        glVertex2i(GLint(vertices[vertex].x), GLint(vertices[vertex].y));
    }
    glEnd();
    endPass(effectPass);
}

void GLSLShaderEffect::renderQuadrilateral(const XY<float>& a, const XY<float>& b, const XY<float>& c,
                                           const XY<float>& d, const std::vector<Source>& sources)
{
    if (passes_.empty())
        return;
    bindTextures(sources);
    const GLSLEffectPass& effectPass = *passes_.front().first;
    beginPass(effectPass);
    const XY<float>* vertices[] = {&a, &b, &c, &d};
    const unsigned corners[] = {2, 3, 0, 1};
    glBegin(GL_TRIANGLE_STRIP);
    for (unsigned vertex = 0; vertex < 4; ++vertex) {
        texCoords(0, corners[vertex], XY<float>(0, 0));
        glVertex3f(vertices[vertex]->x, vertices[vertex]->y, 0);
    }
    glEnd();
    endPass(effectPass);
}

void GLSLShaderEffect::render(Target target, const std::vector<Source>& sources, eBlendMode)
{
    if (!technique_ || passes_.empty())
        return;
    const Kv::Ptr<GPUImage> image = Kv::dynamicCast<GPUImage>(target.image);
    if (!image)
        return;
    const CriticalSectionLock gpuLock(OpenGLUtils::instance().getLock());
    const XY<int> size = image->getPhysicalSize();
    // Each pass but the last draws into an image of its own, for the later
    // passes to read through its render target's samplers.
    std::vector<Kv::Ptr<GPUImage>> images;
    for (std::size_t pass = 0; pass + 1 < passes_.size(); ++pass)
        images.emplace_back(new GPUImage(iGPUImage::StorageT{size, iGPUImage::eBGRA8}));
    images.push_back(image);
    const Kv::Rectangle<float> whole{0, 0, float(size.x), float(size.y)};
    for (std::size_t pass = 0; pass < passes_.size(); ++pass) {
        const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = images[pass]->getPrimitivesRenderer(false);
        if (!renderer)
            break;
        renderPass(static_cast<unsigned short>(pass), whole, sources);
        if (pass + 1 < passes_.size() && passes_[pass].second)
            bindTexture(InputEx(passes_[pass].second), images[pass]->getTextureID());
    }
    unbindTextures();
}

Kv::Ptr<iGPUImage> GLSLShaderEffect::render(const XY<int>& size, const std::vector<Source>& sources,
                                            iGPUImage::eFormat format)
{
    if (!technique_)
        return nullptr;
    const Kv::Ptr<iGPUImage> image(new GPUImage(iGPUImage::StorageT{size, format}));
    render(Target{image, nullptr}, sources, eBlendMode(0));
    return image;
}
