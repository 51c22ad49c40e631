#pragma once

#include "LightweightString.h"
#include "NormalisedRGB.h"
#include "iObject.h"

// One parameter of a shader effect, and its annotations. Setters answer
// whether the value was taken; a value reaches the GPU at the next pass that
// uses the effect, on whichever thread that runs.
class KV_API iShaderParam : public virtual iObject
{
public:
    enum eType : int
    {
        eTypeUnknown = 0,
        eTypeFloat = 1,
        eTypeString = 2,
        eTypeBool = 3,
        eTypeInt = 4,
        eTypeColour = 5,
    };

    struct Float3
    {
        float v[3] = {};
    };

    // Row after row.
    struct Float3x3
    {
        float m[3][3] = {};
    };

    virtual bool setFloatValue(float value) = 0;
    virtual bool setIntValue(int value) = 0;
    virtual bool setBoolValue(bool value) = 0;
    virtual bool setColourValue(const NormalisedRGB& value) = 0;
    virtual bool setFloat3x3Value(const Float3x3& value) = 0;
    virtual bool setFloat3Value(const Float3& value) = 0;
    virtual float getFloatValue() const = 0;
    virtual int getIntValue() const = 0;
    virtual bool getBoolValue() const = 0;
    virtual NormalisedRGB getColourValue() const = 0;
    virtual Float3x3 getFloat3x3Value() const = 0;
    virtual Float3 getFloat3Value() const = 0;
    // The parameter's name.
    virtual LightweightString<char> getID() const = 0;
    virtual eType getType() const = 0;
    // Null, 0 or false when the annotation is missing or of another kind.
    virtual LightweightString<char> getAnnotationStringValue(const char* name) const = 0;
    virtual float getAnnotationFloatValue(const char* name) const = 0;
    virtual bool getAnnotationBoolValue(const char* name) const = 0;
    virtual bool hasAnnotation(const char* name, eType type) const = 0;
};
