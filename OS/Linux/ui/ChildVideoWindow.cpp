#include "ChildVideoWindow.h"

#include "BackBufferGuard.h"
#include "RootWindowBase.h"

#include <cstdint>

// Made on first use, as an allocation before main would build the system
// object there; never destroyed, as at exit the views left would go after the
// X connection and OpenGL that they belong to.
std::vector<std::unique_ptr<VideoWindowView>>& ChildVideoWindow::extinctViews()
{
    static auto* const views = new std::vector<std::unique_ptr<VideoWindowView>>;
    return *views;
}

ChildVideoWindow::ChildVideoWindow(Kv::Ptr<iRootWindow> root, const XY<int>& size, const XY<int>& position)
    : size_(size)
{
    const RootWindowBase* base = dynamic_cast<RootWindowBase*>(root.get());
    const XView* parent = base != nullptr ? base->view() : nullptr;
    if (parent != nullptr)
        scale_ = float(base->getScale());
    const int parentHeight = parent != nullptr ? parent->frame().height() : 0;
    const XY<float> hostSize(float(size.x) / scale_, float(size.y) / scale_);
    view_ = std::make_unique<VideoWindowView>(parent != nullptr ? parent->window() : 0,
                                              frameFor(position, hostSize, parentHeight));
}

ChildVideoWindow::~ChildVideoWindow() { extinctViews().push_back(std::move(view_)); }

void ChildVideoWindow::removeExtinctViews() { extinctViews().clear(); }

// The place is worked out in the desktop's logical units and bottom-up, as
// the desktop it was first written for counts it, and cut to 16 bits there:
// a window placed out of range wraps rather than clamps, and the cut is kept
// on purpose. X then takes it in pixels.
Kv::Rectangle<int> ChildVideoWindow::frameFor(const XY<int>& position, const XY<float>& hostSize,
                                              int parentPixels) const
{
    const int parentHeight = int(float(parentPixels) / scale_);
    const int x = int(float(position.x) / scale_);
    const uint16_t bottomUp = uint16_t(int(float(parentHeight) - (float(position.y) / scale_ + hostSize.y)));
    const int width = int(hostSize.x);
    const int height = int(hostSize.y);
    const int top = parentHeight - int(bottomUp) - height;
    const int pixels = int(scale_);
    return Kv::Rectangle<int>{x * pixels, top * pixels, (x + width) * pixels, (top + height) * pixels};
}

void ChildVideoWindow::setPosition(const XY<int>& position)
{
    const XY<int> present = view_->size();
    view_->setFrame(frameFor(position, XY<float>(float(present.x) / scale_, float(present.y) / scale_),
                             X11Application::instance().geometry(view_->superview()).height()));
}

Kv::Ptr<iVideoWindowBackBuffer> ChildVideoWindow::lock(bool)
{
    const Kv::Ptr<BackBufferGuard> guard(new BackBufferGuard(view_->openGLContext(), size_));
    guard->setOverlay(overlay_);
    return guard;
}
