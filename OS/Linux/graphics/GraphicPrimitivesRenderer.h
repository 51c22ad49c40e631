#pragma once

#include "KvRectangle.h"
#include "NormalisedRGB.h"
#include "XY.h"
#include "iGraphicPrimitivesRenderer.h"

#include <cairo.h>

class CairoBottomUpPath;
class Font;

// Draws the primitive records on a Cairo context: into a CairoImage's pixels,
// or onto a window's surface. The records are top-down in logical pixels; the
// renderer works out each shape in bottom-up device pixels (size_ is the
// target in device pixels, scale_ logical to device) and hands it to Cairo
// through CairoBottomUpPath's mirror.
//
// The context is referenced for the renderer's life, and its state is saved
// at construction and restored at destruction. Between calls the context
// rests in copy (CAIRO_OPERATOR_SOURCE): every call that blends puts copy
// back before it returns, and leaves no path, dash or alpha behind.
//
// One thread at a time: each call changes the context's state while it runs.
class GraphicPrimitivesRenderer : public iGraphicPrimitivesRenderer
{
public:
    GraphicPrimitivesRenderer(cairo_t* context, const XY<int>& size, float scale);
    ~GraphicPrimitivesRenderer() override;

    GraphicPrimitivesRenderer(const GraphicPrimitivesRenderer&) = delete;
    GraphicPrimitivesRenderer& operator=(const GraphicPrimitivesRenderer&) = delete;

    // Only a Region clips; a null region, or any other, leaves no clip.
    void setClipRegion(Kv::Ptr<iRegion> region) override;
    void setAntialiasingEnabled(bool enabled) override;
    unsigned int getCaps() const override { return 2937; }
    void renderMulti(const RectDescription* records, unsigned int count) override;
    void renderMulti(const EllipseDescription* records, unsigned int count) override;
    void renderMulti(const LineDescription* records, unsigned int count) override;
    void renderMulti(const TextDescription* records, unsigned int count) override;
    void renderMulti(const AlphaRectDescription* records, unsigned int count) override;
    void renderMulti(const BezierCurveDescription* records, unsigned int count) override;
    void renderMulti(const ImageDescription* records, unsigned int count) override;
    // Shader images are the GPU renderer's alone.
    void renderMulti(const ImageDescriptionEx*, unsigned int) override {}
    void renderMulti(const RoundedRectDescription* records, unsigned int count) override;

    void setCurrentColour(const NormalisedRGB& colour);

private:
    // A rectangle in bottom-up device pixels, by its bottom-left corner.
    struct DeviceRect
    {
        double x;
        double y;
        double width;
        double height;
    };

    struct DevicePoint
    {
        double x;
        double y;
    };

    // The two flips differ on purpose: a rectangle's y takes the height as it
    // stands, a point's takes it scaled.
    DeviceRect makeBottomUp(const Kv::Rectangle<int>& rectangle) const;
    DevicePoint makeBottomUp(const XY<int>& point) const;

    void fillGradient(const RectDescription& record);
    void addRoundedRect(CairoBottomUpPath& path, const RoundedRectDescription& record) const;
    void drawImage(const ImageDescription& record);
    // The selection band and the underline of one text, drawn before any text.
    void renderTextDecorations(const TextDescription& record, const Font& font);

    cairo_t* context_;
    XY<int> size_;
    float scale_;
    unsigned char antialias_ = 1;
};
