#include "RootWindow.h"

#include "CairoImage.h"

Kv::Ptr<iGraphicPrimitivesRenderer> RootWindow::getPrimitivesRenderer(bool)
{
    return view() ? rootView()->renderer() : Kv::Ptr<iGraphicPrimitivesRenderer>();
}

Kv::Ptr<iImage> RootWindow::createCompatibleImage(const XY<int>& size)
{
    return Kv::Ptr<iImage>(new CairoImage(size, 32, 1));
}

void RootWindow::requestRepaint(const Kv::Ptr<iRegion>& region) const
{
    if (region && view())
        rootView()->requestRepaintRegion(region);
}

std::unique_ptr<XView> RootWindow::createView(const Kv::Rectangle<int>& frame)
{
    return std::make_unique<RootWindowView>(window()->window(), frame);
}
