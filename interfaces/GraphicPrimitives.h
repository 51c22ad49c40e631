#pragma once

#include "KvRectangle.h"
#include "LightweightString.h"
#include "NormalisedRGB.h"
#include "Ptr.h"
#include "XY.h"
#include "iFont.h"
#include "iImageBase.h"
#include "iObject.h"
#include "iShaderEffectBase.h"
#include "iShaderParamValue.h"

#include <vector>

// The vocabulary of every drawing surface: the application fills these
// records and hands arrays of them to iGraphicPrimitivesRenderer::renderMulti.
// Coordinates are logical pixels from the top left, y growing downwards;
// colours are never premultiplied.

// A record that can say where it draws. Only the records with a body here
// answer; the others are read by field alone.
class KV_API iGraphicPrimitive : public virtual iVirtual
{
public:
    virtual Kv::Rectangle<int> getBounds() const { return Kv::Rectangle<int>(); }
};

struct KV_API RectDescription : iGraphicPrimitive
{
    Kv::Rectangle<int> getBounds() const override;

    Kv::Rectangle<int> rect;
    NormalisedRGB colour;        // the fill, and the gradient's first colour
    NormalisedRGB gradientEnd;
    NormalisedRGB effectColour;  // only for an effect
    unsigned int effect = 0;     // 0 is a plain rectangle; others are drawn on the GPU only
    float effectSize = 0.0f;
    unsigned int effectParam = 0;
    unsigned int blendMode = 0;  // 1 blends by alpha; anything else replaces
    unsigned char gradient = 0;
    float rotation = 0.0f;       // degrees, GPU only
};

struct KV_API RoundedRectDescription : iGraphicPrimitive
{
    enum eCorners
    {
        eTopLeft = 1,
        eTopRight = 2,
        eBottomLeft = 4,
        eBottomRight = 8,
    };

    Kv::Rectangle<int> rect;
    NormalisedRGB fill;
    NormalisedRGB border;
    unsigned short radius = 0;
    unsigned short borderWidth = 0; // 0 is no border
    unsigned int corners = 0;       // the rounded corners; the others are square
};

struct KV_API EllipseDescription : iGraphicPrimitive
{
    Kv::Rectangle<int> rect;
    unsigned int style = 0; // 0 fill, 1 outline, 2 both; anything else draws nothing
    NormalisedRGB fill;
    NormalisedRGB outline;
    unsigned short lineWidth = 0;
    short startAngle = 0; // degrees; a whole ellipse is 0 to exactly 360
    short endAngle = 0;
    float rotation = 0.0f; // GPU only
};

struct KV_API LineDescription : iGraphicPrimitive
{
    Kv::Rectangle<int> getBounds() const override;

    XY<int> start;
    XY<int> end;
    NormalisedRGB colour;
    NormalisedRGB colour2;   // producers set it equal to colour; nothing reads it
    unsigned int style = 0;  // 1 is dashed
    unsigned char flag = 0;  // producers set 1; nothing reads it
    unsigned int width = 0;
};

struct KV_API LineStripDescription : iGraphicPrimitive
{
    std::vector<XY<float>> points;
    NormalisedRGB colour;
    unsigned short width = 0;
};

struct KV_API TriangleStripDescription : iGraphicPrimitive
{
    std::vector<XY<int>> vertices;
    NormalisedRGB colour;
};

// Named by the renderer interface; no renderer draws it.
struct KV_API TriangleFanDescription : iGraphicPrimitive
{
    std::vector<XY<int>> vertices;
    NormalisedRGB colour;
};

// How text sits on its pen position.
struct TextAlignment
{
    unsigned int horizontal = 0; // 1 right, 2 centred
    unsigned int vertical = 0;   // 1 lifts the text by the font's ascent
};

struct KV_API TextDescription : iGraphicPrimitive
{
    TextDescription() = default;
    TextDescription(const LightweightString<wchar_t>& text, const XY<int>& position, const NormalisedRGB& colour,
                    const TextAlignment& alignment, const Kv::Ptr<iFont>& font)
        : text(text), position(position), colour(colour), font(font), alignment(alignment)
    {
    }

    // Above the baseline by the first metric and below it by the second, as
    // wide as the whole text; all zero without a font.
    Kv::Rectangle<int> getBounds() const override;

    LightweightString<wchar_t> text;
    XY<int> position; // the pen on the baseline, left end
    NormalisedRGB colour;
    NormalisedRGB selectionColour;
    NormalisedRGB spareColour; // nothing reads it
    Kv::Ptr<iFont> font;       // a record without one is not drawn
    TextAlignment alignment;
    unsigned char underline = 0;
    int selectionStart = 0; // equal to selectionEnd: no selection
    int selectionEnd = 0;   // may be below selectionStart
};

struct KV_API AlphaRectDescription : iGraphicPrimitive
{
    Kv::Rectangle<int> rect;
    NormalisedRGB colour; // its alpha is the point
    int alphaMode = 0;    // the blend mode of the 2D renderer
};

struct KV_API BezierCurveDescription : iGraphicPrimitive
{
    XY<int> start;
    XY<int> end; // before the control points, as it always has been
    XY<int> control1;
    XY<int> control2;
    NormalisedRGB colour;
    unsigned int width = 0;
};

struct KV_API ImageDescription : iGraphicPrimitive
{
    ImageDescription() = default;
    // No scaling: dest is at the position with the absolute size of source.
    ImageDescription(const Kv::Ptr<iImageBase>& image, const XY<int>& position, const Kv::Rectangle<int>& source,
                     bool blend)
        : image(image), dest{position.x, position.y, position.x + source.width(), position.y + source.height()},
          source(source), blend(blend)
    {
    }

    Kv::Rectangle<int> getBounds() const override;

    Kv::Ptr<iImageBase> image; // a null image is not drawn
    Kv::Rectangle<int> dest;
    Kv::Rectangle<int> source;
    unsigned char blend = 0; // zero copies, unless alpha is below 1
    float alpha = 1.0f;
};

// An image drawn through a shader: the GPU renderer's alone.
struct KV_API ImageDescriptionEx : iGraphicPrimitive
{
    // Whole pixels around dest.
    Kv::Rectangle<int> getBounds() const override;

    Kv::Ptr<iImageBase> image;
    Kv::Ptr<iShaderEffectBase> effect;
    LightweightString<char> techniqueName;
    unsigned short technique = 0;
    std::vector<Kv::Ptr<iShaderParamValue>> params;
    Kv::Rectangle<float> source;
    Kv::Rectangle<float> dest;
    unsigned char blend = 1;
    unsigned int filter = 0; // 1 takes the nearest texel; anything else filters linearly
    unsigned int reserved = 0;
};
