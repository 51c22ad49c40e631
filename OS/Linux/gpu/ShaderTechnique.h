#pragma once

#include "GraphicPrimitives.h"
#include "LightweightString.h"
#include "Ptr.h"
#include "iShaderEffect.h"
#include "iShaderParamValue.h"

#include <cstdint>
#include <vector>

// How an image record's effect is to be set up before it draws: the
// technique, by name or else by index, and the parameter values in order.
struct ShaderTechnique
{
    ShaderTechnique() = default;
    // Index 0 and no values.
    ShaderTechnique(const Kv::Ptr<iOpenGLShaderEffect>& effect, const LightweightString<char>& techniqueName);
    // The four fields of the record; an effect that is not OpenGL's is none.
    explicit ShaderTechnique(const ImageDescriptionEx& record);

    // Puts the four fields into the record.
    void applyTo(ImageDescriptionEx& record) const;
    // Does nothing without an effect.
    void setupShader() const;

    Kv::Ptr<iOpenGLShaderEffect> effect;
    LightweightString<char> techniqueName;
    std::uint16_t technique = 0;
    std::vector<Kv::Ptr<iShaderParamValue>> params;
};
