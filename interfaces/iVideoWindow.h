#pragma once

#include "GraphicPrimitives.h"
#include "Ptr.h"
#include "XY.h"
#include "iGPUImage.h"
#include "iGraphicPrimitivesRenderer.h"
#include "iObject.h"

// The picture of one frame of a video window. It holds the GPU for as long
// as it lives: letting go of it draws the overlay and shows the frame.
class KV_API iVideoWindowBackBuffer : public iGPUImage
{
public:
    // Keeps the back buffer alive for as long as the renderer is in use.
    class Renderer;
};

// A surface on which the application shows pictures drawn with OpenGL.
class KV_API iVideoWindow : public virtual iObject
{
public:
    virtual Kv::Ptr<iVideoWindowBackBuffer> lock(bool) = 0;
};

// A video window placed inside a root window; positions and sizes are in
// backing pixels from the root window's top left.
class KV_API iChildVideoWindow : public iVideoWindow
{
public:
    // The view keeps its frame: only getSize changes.
    virtual void setSize(const XY<int>& size) = 0;
    virtual void setPosition(const XY<int>& position) = 0;
    virtual void setVisible(bool visible) = 0;
    virtual void setGeometry(const XY<int>& position, const XY<int>& size)
    {
        setPosition(position);
        setSize(size);
    }
    virtual int reserved1() = 0;
    virtual void reserved2() = 0;
    // Drawn over every frame from the next one on.
    virtual void setOverlay(const ImageDescriptionEx& overlay) = 0;
    virtual XY<int> getSize() const = 0;
};

class KV_API iVideoWindowBackBuffer::Renderer : public iGraphicPrimitivesRenderer
{
public:
    Renderer(Kv::Ptr<iVideoWindowBackBuffer> backBuffer, Kv::Ptr<iGraphicPrimitivesRenderer> renderer)
        : backBuffer_(std::move(backBuffer)), renderer_(std::move(renderer))
    {
    }

    void setClipRegion(Kv::Ptr<iRegion> region) override { renderer_->setClipRegion(region); }
    void setAntialiasingEnabled(bool enabled) override { renderer_->setAntialiasingEnabled(enabled); }
    unsigned int getCaps() const override { return renderer_->getCaps(); }
    void renderMulti(const RectDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const EllipseDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const LineDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const TextDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const AlphaRectDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const BezierCurveDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const ImageDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const ImageDescriptionEx* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const RoundedRectDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const TriangleStripDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const TriangleFanDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }
    void renderMulti(const LineStripDescription* r, unsigned int n) override { renderer_->renderMulti(r, n); }

private:
    // The renderer goes first: it draws into the back buffer.
    Kv::Ptr<iVideoWindowBackBuffer> backBuffer_;
    Kv::Ptr<iGraphicPrimitivesRenderer> renderer_;
};
