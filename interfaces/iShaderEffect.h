#pragma once

#include "KvRectangle.h"
#include "LightweightString.h"
#include "NormalisedRGB.h"
#include "Ptr.h"
#include "XY.h"
#include "iGPUImage.h"
#include "iGPUResource.h"
#include "iShaderEffectBase.h"
#include "iShaderParam.h"

#include <cstdint>
#include <vector>

// A compiled effect file: techniques of passes, parameters, and texture
// inputs found by name. It renders pass by pass into GPU images, with images
// of its own between the passes.
class KV_API iShaderEffect : public iShaderEffectBase
{
public:
    // A macro handed to the compiler: "-Dname=value".
    struct CompilerDefinition
    {
        LightweightString<char> name;
        LightweightString<char> value;
    };

    // A texture the effect reads: its name, and the annotation "Resource".
    struct Input
    {
        LightweightString<char> name;
        LightweightString<char> resource;
    };

    // A texture handed to a render, with the coordinates it is read at on
    // the quad's corners: top left, top right, bottom left, bottom right.
    struct Source
    {
        Source() = default;
        Source(const LightweightString<char>& name, const Kv::Ptr<iGPUResource>& resource)
            : name(name), resource(resource)
        {
        }

        LightweightString<char> name;
        Kv::Ptr<iGPUResource> resource;
        XY<float> texCoords[4];
    };

    // The image a render draws into. The second member is not read here.
    struct Target
    {
        Kv::Ptr<iGPUImage> image;
        Kv::Ptr<iGPUImage> second;
    };

    // The application's blend modes; a render does not read them.
    enum eBlendMode : std::int32_t
    {
    };

    virtual bool setValue(const LightweightString<char>& name, float value) = 0;
    virtual bool setValue(const LightweightString<char>& name, const NormalisedRGB& value) = 0;
    virtual bool setValue(const LightweightString<char>& name, int value) = 0;
    virtual bool setTechnique(const LightweightString<char>& name) = 0;
    virtual bool setTechnique(unsigned int index) = 0;
    virtual LightweightString<wchar_t> getSourceFile() const = 0;
    virtual unsigned int getNumInputs() const = 0;
    virtual unsigned int getNumParams() const = 0;
    virtual Kv::Ptr<iShaderParam> getParam(unsigned int index) const = 0;
    virtual Kv::Ptr<iShaderParam> getParam(const char* name) const = 0;
    virtual Input getInput(unsigned int index) const = 0;
    // Into a new image of that size and format; null without a technique.
    virtual Kv::Ptr<iGPUImage> render(const XY<int>& size, const std::vector<Source>& sources,
                                      iGPUImage::eFormat format) = 0;
    virtual void render(Target target, const std::vector<Source>& sources, eBlendMode blend) = 0;
    virtual void reserved() {}
    // One pass as a quad with corners (left, top) ... (right, top), into the
    // target the caller has set.
    virtual void renderPass(unsigned short pass, const Kv::Rectangle<float>& rectangle,
                            const std::vector<Source>& sources) = 0;
    // Pass 0 on four free corners.
    virtual void renderQuadrilateral(const XY<float>& a, const XY<float>& b, const XY<float>& c, const XY<float>& d,
                                     const std::vector<Source>& sources) = 0;

    // False when the effect has no parameter of that name.
    bool setFloat(const char* name, float value) const
    {
        const Kv::Ptr<iShaderParam> param = getParam(name);
        return param && param->setFloatValue(value);
    }
    bool setColour(const char* name, const NormalisedRGB& value) const
    {
        const Kv::Ptr<iShaderParam> param = getParam(name);
        return param && param->setColourValue(value);
    }
    bool setInt(const char* name, int value) const
    {
        const Kv::Ptr<iShaderParam> param = getParam(name);
        return param && param->setIntValue(value);
    }
};

// An effect that renders with OpenGL.
class KV_API iOpenGLShaderEffect : public iShaderEffect
{
};

// What a compile gives: the effect, or null, and the compiler's messages.
struct KV_API ShaderCompilationOutput
{
    struct Error
    {
        LightweightString<char> message;
        std::uint16_t line = 0xFFFF; // 0xFFFF: no line
    };

    Kv::Ptr<iShaderEffect> effect;
    std::vector<Error> errors;
};
