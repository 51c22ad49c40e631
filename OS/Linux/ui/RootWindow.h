#pragma once

#include "RootWindowBase.h"
#include "RootWindowView.h"

// A root window drawn in main memory with the 2D renderer. Its renderer
// exists only while the handler paints.
class RootWindow : public RootWindowBase
{
public:
    eLocation getLocation() const override { return eHostMemory; }
    unsigned int getBitsPerPixel() const override { return 32; }
    unsigned int getBitsPerComponent() const override { return 8; }
    Kv::Ptr<iGraphicPrimitivesRenderer> getPrimitivesRenderer(bool forceSoftware) override;
    Kv::Ptr<iImage> createCompatibleImage(const XY<int>& size) override;
    void requestRepaint(const Kv::Ptr<iRegion>& region) const override;
    std::unique_ptr<XView> createView(const Kv::Rectangle<int>& frame) override;

private:
    RootWindowView* rootView() const { return static_cast<RootWindowView*>(view()); }
};
