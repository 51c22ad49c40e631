#pragma once

#include "iShaderParam.h"

#include <cstddef>
#include <memory>
#include <vector>

class GLSLEffect;
class GLSLEffectParameter;
struct EffectAnnotation;
struct EffectType;

// One value parameter of a compiled effect, and its annotations.
//
// A value set here is kept by the effect and reaches the GPU when a pass next
// updates its parameters, on whichever thread that pass runs; setters and
// getters take no GPU lock. A parameter keeps its effect alive, so it stays
// usable after the shader effect that handed it out has gone.
class GLSLShaderParam : public iShaderParam
{
public:
    GLSLShaderParam(std::shared_ptr<GLSLEffect> effect, GLSLEffectParameter& parameter);

    // False when the parameter cannot take the value: too few numbers, a string.
    bool setFloatValue(float value) override;
    bool setIntValue(int value) override;
    bool setBoolValue(bool value) override;
    bool setColourValue(const NormalisedRGB& value) override;
    // A float3x3 alone takes it.
    bool setFloat3x3Value(const Float3x3& value) override;
    bool setFloat3Value(const Float3& value) override;
    // The leading numbers of the value; zeros where it has fewer.
    float getFloatValue() const override;
    int getIntValue() const override;
    bool getBoolValue() const override;
    NormalisedRGB getColourValue() const override;
    Float3x3 getFloat3x3Value() const override;
    Float3 getFloat3Value() const override;
    LightweightString<char> getID() const override;
    // Float, int and bool scalars, strings, and float4 as a colour; anything
    // else, arrays too, is unknown.
    eType getType() const override;
    LightweightString<char> getAnnotationStringValue(const char* name) const override;
    float getAnnotationFloatValue(const char* name) const override;
    bool getAnnotationBoolValue(const char* name) const override;
    bool hasAnnotation(const char* name, eType type) const override;

    GLSLEffectParameter& getParamHandle() const { return parameter_; }

    // The kind a type of the effect file has for the application.
    static eType typeOf(const EffectType& type);

private:
    std::vector<float> leadingFloats(std::size_t count) const;
    const EffectAnnotation* annotationNamed(const char* name) const;

    std::shared_ptr<GLSLEffect> effect_;
    GLSLEffectParameter& parameter_;
};
