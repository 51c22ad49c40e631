#pragma once

#include "GraphicPrimitives.h"
#include "OpenGLContextProtector.h"
#include "Ptr.h"
#include "iOpenGLContext.h"
#include "iVideoWindow.h"

// One frame of a video window: from construction to destruction it holds the
// GPU lock with the window's context current, so frames of different windows
// never overlap and it must be let go as soon as the frame is drawn. Letting
// go draws the overlay over the frame and shows it. Made, used and let go on
// one thread.
class BackBufferGuard : public iVideoWindowBackBuffer
{
public:
    // size is the frame's size in backing pixels.
    BackBufferGuard(Kv::Ptr<iOpenGLContext> context, const XY<int>& size);
    ~BackBufferGuard() override;

    BackBufferGuard(const BackBufferGuard&) = delete;
    BackBufferGuard& operator=(const BackBufferGuard&) = delete;

    // Drawn last, over whatever the frame holds; an overlay without an image
    // draws nothing.
    void setOverlay(const ImageDescriptionEx& overlay) { overlay_ = overlay; }

    // The same renderer on every request, made on the first, wrapped so that
    // it keeps the frame alive.
    Kv::Ptr<iGraphicPrimitivesRenderer> getPrimitivesRenderer(bool forceSoftware) override;
    XY<int> getSize() const override { return size_; }
    unsigned int getBitsPerPixel() const override { return 32; }
    unsigned int getBitsPerComponent() const override { return 8; }
    Kv::Ptr<iImage> createCompatibleImage(const XY<int>&) override { return {}; }
    eFormat getFormat() const override { return eBGRA8; }
    // The frame's pixels cannot be mapped.
    Kv::Ptr<iPixelGuard> lock() override { return {}; }

private:
    Kv::Ptr<iGraphicPrimitivesRenderer> renderer();

    // Released in reverse order: the renderer before the protector, and with
    // the protector the GPU lock, while the context still lives.
    Kv::Ptr<iOpenGLContext> context_;
    OpenGLContextProtector protector_;
    Kv::Ptr<iGraphicPrimitivesRenderer> renderer_;
    ImageDescriptionEx overlay_;
    XY<int> size_;
};
