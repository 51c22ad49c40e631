#pragma once

#include "EffectModel.h"

#include <epoxy/gl.h>

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

// One parameter of a compiled effect: a value the passes read as a uniform, a
// texture, or a sampler with its sampler_state.
//
// Values are kept here, row after row for matrices and element after element
// for arrays, and reach OpenGL when a pass updates its parameters: a value set
// on one thread is used by the next pass that updates, on whichever thread it
// runs. Setters and getters may be called from any thread; setup() needs the
// pass's OpenGL context.
class GLSLEffectParameter
{
public:
    enum class eKind { value, texture, sampler };

    // One assignment of a sampler's sampler_state, as the file wrote it.
    struct SamplerState
    {
        enum class eType { integer, texture, other };

        std::string name;
        eType type = eType::other;
        // integer: the OpenGL constant. "AddressU = Clamp" gives GL_CLAMP, which
        // setup() applies as clamp-to-edge.
        GLint value = 0;
        std::string text; // texture: the texture's name; otherwise the value as written
    };

    explicit GLSLEffectParameter(const EffectParameter& parameter);
    explicit GLSLEffectParameter(const EffectTexture& texture);
    explicit GLSLEffectParameter(const EffectSampler& sampler);

    eKind kind() const { return kind_; }
    const std::string& name() const { return name_; }
    const std::string& semantic() const { return semantic_; }
    // For textures and samplers only the name is set: "texture", "sampler2D".
    const EffectType& type() const { return type_; }
    const EffectAnnotations& annotations() const { return annotations_; }
    const EffectAnnotation* findAnnotation(const std::string& name) const;

    // Numbers the value holds: rows x columns x array elements; 0 for strings,
    // structures, textures and samplers.
    std::size_t size() const { return size_; }

    // Set the first count numbers; false when count is 0 or more than size().
    // Booleans store 0 or 1.
    bool setFloats(const float* values, std::size_t count);
    bool setInts(const int* values, std::size_t count);
    // A matrix's values row after row; false for anything but a matrix.
    bool setMatrixRowMajor(const float* values, std::size_t count);
    std::vector<float> floats() const;
    std::vector<int> ints() const;

    // Samplers
    const std::vector<SamplerState>& samplerStates() const { return samplerStates_; }
    const std::string& textureName() const { return textureName_; }
    GLenum textureTarget() const;
    // The texture unit the effect gave the sampler, or -1 when no pass reads it.
    int unit() const { return unit_; }
    void setUnit(int unit) { unit_ = unit; }
    // Binds the texture on the sampler's unit, with the sampler's address modes
    // and filters. Texture 0 unbinds.
    void setup(GLuint texture) const;

private:
    bool store(std::size_t count, double (*value)(const void* values, std::size_t index), const void* values);

    eKind kind_;
    std::string name_;
    std::string semantic_;
    EffectType type_;
    EffectAnnotations annotations_;
    std::size_t size_ = 0;

    mutable std::mutex valuesMutex_;
    std::vector<double> values_;

    std::vector<SamplerState> samplerStates_;
    std::string textureName_;
    int unit_ = -1;
};
