#include "GLSLShaderParam.h"

#include "EffectParser.h"
#include "GLSLEffect.h"

#include <algorithm>

GLSLShaderParam::GLSLShaderParam(std::shared_ptr<GLSLEffect> effect, GLSLEffectParameter& parameter)
    : effect_(std::move(effect)), parameter_(parameter)
{
}

bool GLSLShaderParam::setFloatValue(float value)
{
    return parameter_.setFloats(&value, 1);
}

bool GLSLShaderParam::setIntValue(int value)
{
    return parameter_.setInts(&value, 1);
}

bool GLSLShaderParam::setBoolValue(bool value)
{
    return setIntValue(value ? 1 : 0);
}

bool GLSLShaderParam::setColourValue(const NormalisedRGB& value)
{
    const float components[] = {value.r, value.g, value.b, value.a};
    return parameter_.setFloats(components, 4);
}

bool GLSLShaderParam::setFloat3x3Value(const Float3x3& value)
{
    const EffectType& type = parameter_.type();
    return type.rows == 3 && type.columns == 3 && parameter_.setMatrixRowMajor(&value.m[0][0], 9);
}

bool GLSLShaderParam::setFloat3Value(const Float3& value)
{
    return parameter_.setFloats(value.v, 3);
}

std::vector<float> GLSLShaderParam::leadingFloats(std::size_t count) const
{
    std::vector<float> values = parameter_.floats();
    values.resize(count, 0.0f);
    return values;
}

float GLSLShaderParam::getFloatValue() const
{
    return leadingFloats(1)[0];
}

int GLSLShaderParam::getIntValue() const
{
    const std::vector<int> values = parameter_.ints();
    return values.empty() ? 0 : values.front();
}

bool GLSLShaderParam::getBoolValue() const
{
    return getIntValue() != 0;
}

NormalisedRGB GLSLShaderParam::getColourValue() const
{
    const std::vector<float> values = leadingFloats(4);
    return NormalisedRGB(values[0], values[1], values[2], values[3]);
}

iShaderParam::Float3x3 GLSLShaderParam::getFloat3x3Value() const
{
    const std::vector<float> values = leadingFloats(9);
    Float3x3 matrix;
    std::copy(values.begin(), values.end(), &matrix.m[0][0]);
    return matrix;
}

iShaderParam::Float3 GLSLShaderParam::getFloat3Value() const
{
    const std::vector<float> values = leadingFloats(3);
    Float3 vector;
    std::copy(values.begin(), values.end(), vector.v);
    return vector;
}

LightweightString<char> GLSLShaderParam::getID() const
{
    return LightweightString<char>(parameter_.name().c_str());
}

iShaderParam::eType GLSLShaderParam::typeOf(const EffectType& type)
{
    const bool scalar = type.rows == 1 && type.columns == 1;
    switch (type.base) {
    case EffectType::eFloat:
        if (scalar)
            return eTypeFloat;
        return type.rows == 1 && type.columns == 4 ? eTypeColour : eTypeUnknown;
    case EffectType::eString: return eTypeString;
    case EffectType::eBool: return scalar ? eTypeBool : eTypeUnknown;
    case EffectType::eInt: return scalar ? eTypeInt : eTypeUnknown;
    default: return eTypeUnknown;
    }
}

iShaderParam::eType GLSLShaderParam::getType() const
{
    const EffectType& type = parameter_.type();
    const bool array = type.base != EffectType::eString && parameter_.size() != std::size_t(type.rows) * type.columns;
    return array ? eTypeUnknown : typeOf(type);
}

const EffectAnnotation* GLSLShaderParam::annotationNamed(const char* name) const
{
    return name ? parameter_.findAnnotation(name) : nullptr;
}

LightweightString<char> GLSLShaderParam::getAnnotationStringValue(const char* name) const
{
    const EffectAnnotation* annotation = annotationNamed(name);
    return annotation && annotation->type == EffectAnnotation::eString
               ? LightweightString<char>(annotation->text.c_str())
               : LightweightString<char>();
}

float GLSLShaderParam::getAnnotationFloatValue(const char* name) const
{
    const EffectAnnotation* annotation = annotationNamed(name);
    return annotation && annotation->type == EffectAnnotation::eFloat && !annotation->values.empty()
               ? float(annotation->values.front())
               : 0.0f;
}

bool GLSLShaderParam::getAnnotationBoolValue(const char* name) const
{
    const EffectAnnotation* annotation = annotationNamed(name);
    return annotation && annotation->type == EffectAnnotation::eBool && !annotation->values.empty() &&
           annotation->values.front() != 0;
}

bool GLSLShaderParam::hasAnnotation(const char* name, eType type) const
{
    const EffectAnnotation* annotation = annotationNamed(name);
    return annotation && typeOf(EffectParser::typeNamed(annotation->typeName)) == type;
}
