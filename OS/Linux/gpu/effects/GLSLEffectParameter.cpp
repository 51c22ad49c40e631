#include "GLSLEffectParameter.h"

#include <algorithm>
#include <cstdlib>
#include <map>

namespace {

bool isAddressState(const std::string& name)
{
    const std::string state = effectWord(name);
    return state == "addressu" || state == "addressv" || state == "addressw" || state == "wraps" ||
           state == "wrapt" || state == "wrapr";
}

bool isFilterState(const std::string& name)
{
    const std::string state = effectWord(name);
    return state == "minfilter" || state == "magfilter" || state == "mipfilter";
}

// The OpenGL constant of a sampler state's value; 0 when it has none.
GLint constantOf(const std::string& state, const std::string& value)
{
    static const std::map<std::string, GLint> addressModes = {
        {"wrap", GL_REPEAT},
        {"repeat", GL_REPEAT},
        {"clamp", GL_CLAMP},
        {"clamptoedge", GL_CLAMP_TO_EDGE},
        {"border", GL_CLAMP_TO_BORDER},
        {"clamptoborder", GL_CLAMP_TO_BORDER},
        {"mirror", GL_MIRRORED_REPEAT},
        {"mirroredrepeat", GL_MIRRORED_REPEAT},
    };
    static const std::map<std::string, GLint> filters = {
        {"none", GL_NONE},
        {"point", GL_NEAREST},
        {"nearest", GL_NEAREST},
        {"linear", GL_LINEAR},
        {"anisotropic", GL_LINEAR},
        {"nearestmipmapnearest", GL_NEAREST_MIPMAP_NEAREST},
        {"linearmipmapnearest", GL_LINEAR_MIPMAP_NEAREST},
        {"nearestmipmaplinear", GL_NEAREST_MIPMAP_LINEAR},
        {"linearmipmaplinear", GL_LINEAR_MIPMAP_LINEAR},
    };
    const std::string key = effectWord(value);
    const std::map<std::string, GLint>& constants = isAddressState(state) ? addressModes : filters;
    const auto found = constants.find(key);
    return found == constants.end() ? 0 : found->second;
}

// Direct3D's pair of MinFilter and MipFilter as one OpenGL minification filter.
GLint minificationFilter(GLint minFilter, GLint mipFilter)
{
    const bool linear = minFilter == GL_LINEAR;
    if (mipFilter == GL_NEAREST)
        return linear ? GL_LINEAR_MIPMAP_NEAREST : GL_NEAREST_MIPMAP_NEAREST;
    if (mipFilter == GL_LINEAR)
        return linear ? GL_LINEAR_MIPMAP_LINEAR : GL_NEAREST_MIPMAP_LINEAR;
    return minFilter;
}

} // namespace

GLSLEffectParameter::GLSLEffectParameter(const EffectParameter& parameter)
    : kind_(eKind::value), name_(parameter.name), semantic_(parameter.semantic), type_(parameter.type),
      annotations_(parameter.annotations)
{
    const bool numeric = type_.base != EffectType::eString && type_.base != EffectType::eOther;
    const std::size_t elementSize = numeric ? std::size_t(type_.rows) * type_.columns : 0;
    std::size_t elements = 1;
    for (const unsigned arraySize : parameter.arraySizes)
        elements *= arraySize ? arraySize : (elementSize ? std::max<std::size_t>(1, parameter.defaults.size() / elementSize) : 1);
    size_ = elementSize * elements;
    values_.assign(size_, 0.0);
    // A single number initialises every component, as in "float4 grey = 0.5;".
    if (parameter.defaults.size() == 1)
        std::fill(values_.begin(), values_.end(), parameter.defaults.front());
    else
        std::copy_n(parameter.defaults.begin(), std::min(size_, parameter.defaults.size()), values_.begin());
    if (type_.base == EffectType::eBool)
        for (double& value : values_)
            value = value != 0 ? 1 : 0;
}

GLSLEffectParameter::GLSLEffectParameter(const EffectTexture& texture)
    : kind_(eKind::texture), name_(texture.name), semantic_(texture.semantic), annotations_(texture.annotations)
{
    type_.name = texture.typeName;
}

GLSLEffectParameter::GLSLEffectParameter(const EffectSampler& sampler)
    : kind_(eKind::sampler), name_(sampler.name), semantic_(sampler.semantic), annotations_(sampler.annotations),
      textureName_(sampler.texture)
{
    type_.name = sampler.typeName;
    for (const EffectState& state : sampler.states) {
        SamplerState assignment;
        assignment.name = state.name;
        assignment.text = state.value;
        if (effectWord(state.name) == "texture") {
            assignment.type = SamplerState::eType::texture;
        } else if (isAddressState(state.name) || isFilterState(state.name)) {
            assignment.type = SamplerState::eType::integer;
            assignment.value = constantOf(state.name, state.value);
        } else {
            char* end = nullptr;
            const long number = std::strtol(state.value.c_str(), &end, 0);
            if (!state.value.empty() && *end == '\0') {
                assignment.type = SamplerState::eType::integer;
                assignment.value = GLint(number);
            }
        }
        samplerStates_.push_back(assignment);
    }
}

const EffectAnnotation* GLSLEffectParameter::findAnnotation(const std::string& name) const
{
    return ::findAnnotation(annotations_, name);
}

bool GLSLEffectParameter::store(std::size_t count, double (*value)(const void* values, std::size_t index),
                                const void* values)
{
    if (count == 0 || count > size_)
        return false;
    std::lock_guard lock(valuesMutex_);
    for (std::size_t index = 0; index < count; ++index) {
        const double number = value(values, index);
        values_[index] = type_.base == EffectType::eBool ? (number != 0 ? 1 : 0) : number;
    }
    return true;
}

bool GLSLEffectParameter::setFloats(const float* values, std::size_t count)
{
    return store(count, [](const void* all, std::size_t index) { return double(static_cast<const float*>(all)[index]); },
                 values);
}

bool GLSLEffectParameter::setInts(const int* values, std::size_t count)
{
    return store(count, [](const void* all, std::size_t index) { return double(static_cast<const int*>(all)[index]); },
                 values);
}

bool GLSLEffectParameter::setMatrixRowMajor(const float* values, std::size_t count)
{
    return type_.rows > 1 && setFloats(values, count);
}

std::vector<float> GLSLEffectParameter::floats() const
{
    std::lock_guard lock(valuesMutex_);
    return std::vector<float>(values_.begin(), values_.end());
}

std::vector<int> GLSLEffectParameter::ints() const
{
    std::lock_guard lock(valuesMutex_);
    std::vector<int> ints;
    ints.reserve(values_.size());
    for (const double value : values_)
        ints.push_back(int(value));
    return ints;
}

GLenum GLSLEffectParameter::textureTarget() const
{
    const std::string type = effectWord(type_.name);
    if (type == "sampler1d")
        return GL_TEXTURE_1D;
    if (type == "sampler3d")
        return GL_TEXTURE_3D;
    if (type == "samplercube")
        return GL_TEXTURE_CUBE_MAP;
    if (type == "samplerrect")
        return GL_TEXTURE_RECTANGLE;
    if (type == "sampler1darray")
        return GL_TEXTURE_1D_ARRAY;
    if (type == "sampler2darray")
        return GL_TEXTURE_2D_ARRAY;
    return GL_TEXTURE_2D;
}

void GLSLEffectParameter::setup(GLuint texture) const
{
    if (unit_ < 0)
        return;
    const GLenum target = textureTarget();
    glActiveTexture(GLenum(GL_TEXTURE0 + unit_));
    glBindTexture(target, texture);
    if (texture == 0)
        return;
    // A texture repeats unless the sampler says otherwise, whatever its last user set.
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_REPEAT);
    GLint minFilter = 0;
    GLint mipFilter = 0;
    for (const SamplerState& state : samplerStates_) {
        if (state.type != SamplerState::eType::integer || state.value == 0)
            continue;
        const std::string name = effectWord(state.name);
        if (isAddressState(name)) {
            const GLenum coordinate = name.back() == 'u' || name.back() == 's'   ? GL_TEXTURE_WRAP_S
                                      : name.back() == 'v' || name.back() == 't' ? GL_TEXTURE_WRAP_T
                                                                                 : GL_TEXTURE_WRAP_R;
            // Clamp means the edge texel: the border colour is never what an effect wants.
            glTexParameteri(target, coordinate, state.value == GL_CLAMP ? GL_CLAMP_TO_EDGE : state.value);
        } else if (name == "magfilter") {
            glTexParameteri(target, GL_TEXTURE_MAG_FILTER, state.value == GL_NEAREST ? GL_NEAREST : GL_LINEAR);
        } else if (name == "minfilter") {
            minFilter = state.value;
        } else if (name == "mipfilter") {
            mipFilter = state.value;
        }
    }
    if (minFilter != 0)
        glTexParameteri(target, GL_TEXTURE_MIN_FILTER, minificationFilter(minFilter, mipFilter));
}
