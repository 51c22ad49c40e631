#pragma once

#include "OpenGLWindowView.h"
#include "RootWindowBase.h"
#include "iVideoWindow.h"

// A root window drawn with OpenGL, and a video window as well: each frame
// goes through lock, and letting go of the back buffer shows it. Paint
// requests reach the handler as paint events without a renderer; the handler
// draws through getPrimitivesRenderer or lock.
class OpenGLRootWindow : public RootWindowBase, public iVideoWindow
{
public:
    eLocation getLocation() const override { return eGPUMemory; }
    unsigned int getBitsPerPixel() const override { return 32; }
    unsigned int getBitsPerComponent() const override { return 8; }
    // A renderer on a new back buffer: the frame shows when it is let go.
    Kv::Ptr<iGraphicPrimitivesRenderer> getPrimitivesRenderer(bool forceSoftware) override;
    Kv::Ptr<iImage> createCompatibleImage(const XY<int>& size) override;
    void requestRepaint(const Kv::Ptr<iRegion>& region) const override;
    // Null before realize.
    Kv::Ptr<iVideoWindowBackBuffer> lock(bool) override;
    Kv::Ptr<iFont> createFont(const LightweightString<wchar_t>& family, unsigned int size,
                              unsigned int style) override;
    std::unique_ptr<XView> createView(const Kv::Rectangle<int>& frame) override;

private:
    OpenGLWindowView* openGLView() const { return static_cast<OpenGLWindowView*>(view()); }
};
