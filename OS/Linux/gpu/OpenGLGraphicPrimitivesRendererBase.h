#pragma once

#include "GraphicPrimitives.h"
#include "KvRectangle.h"
#include "Ptr.h"
#include "XY.h"
#include "iGPUImage.h"
#include "iGraphicPrimitivesRenderer.h"
#include "iRegion.h"
#include "iShaderEffect.h"

// Draws the primitive records with immediate-mode OpenGL, one glBegin a
// primitive, into whatever the derived class has set up as the target.
//
// A rectangular clip is a pure scissor. Any other clip is kept as its
// rectangles, and only rectangles and images honour it: the other primitives
// ignore a clip that is not a rectangle.
//
// Every call does OpenGL work at once, so a renderer is used on the thread
// that holds its context. When OpenGL is not available nothing reaches it.
class OpenGLGraphicPrimitivesRendererBase : public iGraphicPrimitivesRenderer
{
public:
    enum eCoordinateSystem
    {
        eOriginBottomLeft = 0, // y goes to OpenGL as it stands
        eOriginTopLeft = 1,    // y goes to OpenGL as the height less y
    };

    OpenGLGraphicPrimitivesRendererBase(const OpenGLGraphicPrimitivesRendererBase&) = delete;
    OpenGLGraphicPrimitivesRendererBase& operator=(const OpenGLGraphicPrimitivesRendererBase&) = delete;

    void setClipRegion(Kv::Ptr<iRegion> region) override;
    void setAntialiasingEnabled(bool) override {}
    unsigned int getCaps() const override { return 0x7E7B; }
    void renderMulti(const RectDescription* records, unsigned int count) override;
    void renderMulti(const EllipseDescription* records, unsigned int count) override;
    void renderMulti(const LineDescription* records, unsigned int count) override;
    void renderMulti(const TextDescription* records, unsigned int count) override;
    void renderMulti(const AlphaRectDescription* records, unsigned int count) override;
    void renderMulti(const BezierCurveDescription*, unsigned int) override {}
    void renderMulti(const ImageDescription* records, unsigned int count) override;
    void renderMulti(const ImageDescriptionEx* records, unsigned int count) override;
    void renderMulti(const RoundedRectDescription* records, unsigned int count) override;
    void renderMulti(const TriangleStripDescription* records, unsigned int count) override;
    void renderMulti(const LineStripDescription* records, unsigned int count) override;
    // The effect that turns a text's image into coverage; null draws no text.
    virtual Kv::Ptr<iShaderEffect> getTextEffectsShader() const = 0;

    // Neither horizontal nor vertical.
    static bool requiresSmoothing(const LineDescription& line);
    // Cuts the record's rectangle to the clip; false when nothing is left.
    static bool clip(RectDescription& record, const Kv::Rectangle<int>& clipRectangle);
    template <class T> static bool clip(T& record, const Kv::Rectangle<int>& clipRectangle);

protected:
    // The image is not counted: the derived class keeps it as the target.
    OpenGLGraphicPrimitivesRendererBase(iOpenGLImage* image, eCoordinateSystem coordinateSystem);

    // Whether a call with this many records reaches OpenGL.
    bool draws(unsigned int count) const { return count != 0 && available_; }
    // A y as OpenGL takes it.
    int mapY(int y) const { return coordinateSystem_ == eOriginTopLeft ? size_.y - y : y; }

    XY<int> size_;
    eCoordinateSystem coordinateSystem_;
    iOpenGLImage* image_;
    Kv::Ptr<iRegion> clipRegion_; // only while the clip is not one rectangle
    iRegion::Rectangles clipRectangles_;
    // Read once, at construction: without OpenGL the renderer does nothing.
    bool available_;

private:
    void drawRotatedQuad(const RectDescription& record) const;
    void drawClipped(const RectDescription& record) const;
    void drawFill(const RectDescription& record) const;
    void drawFrame(const RectDescription& record) const;
    void drawImage(const ImageDescriptionEx& record, const Kv::Ptr<iOpenGLImage>& image, const XY<int>& textureSize);
    void drawImageThroughEffect(const ImageDescriptionEx& record, const Kv::Ptr<iOpenGLImage>& image,
                                const Kv::Ptr<iOpenGLShaderEffect>& effect, const XY<int>& textureSize);
    void emitImageQuad(const ImageDescriptionEx& record, const XY<int>& textureSize) const;
};

// Cuts dest to the clip and moves source with it pixel for pixel, without
// scaling; false when nothing is left.
template <>
bool OpenGLGraphicPrimitivesRendererBase::clip<ImageDescriptionEx>(ImageDescriptionEx& record,
                                                                   const Kv::Rectangle<int>& clipRectangle);
