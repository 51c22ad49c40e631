#pragma once

#include "GraphicPrimitives.h"
#include "Ptr.h"
#include "VideoWindowView.h"
#include "iRootWindow.h"
#include "iVideoWindow.h"

#include <memory>
#include <vector>

// A video window as a child view of a root window's content view. Frames go
// through lock. Positions and sizes are in backing pixels from the root
// window's top left.
//
// Views leave their parents only at a timer's tick, so a view outlives its
// window by up to one tick. extinctViews() has no lock: windows are made and
// destroyed on the loop's thread, where timers tick.
class ChildVideoWindow : public iChildVideoWindow
{
public:
    // Without a root window the view is made but never shown.
    ChildVideoWindow(Kv::Ptr<iRootWindow> root, const XY<int>& size, const XY<int>& position);
    ~ChildVideoWindow() override;

    // Takes the views of destroyed windows off their parents. Called at each
    // timer tick; an empty list costs nothing.
    static void removeExtinctViews();

    Kv::Ptr<iVideoWindowBackBuffer> lock(bool) override;
    void setSize(const XY<int>& size) override { size_ = size; }
    void setPosition(const XY<int>& position) override;
    void setVisible(bool visible) override { view_->setHidden(!visible); }
    int reserved1() override { return 0; }
    void reserved2() override {}
    void setOverlay(const ImageDescriptionEx& overlay) override { overlay_ = overlay; }
    XY<int> getSize() const override { return size_; }

    VideoWindowView& view() const { return *view_; }

private:
    // The view's frame in X pixels for a place in backing pixels and a size in X pixels.
    Kv::Rectangle<int> frameFor(const XY<int>& position, const XY<float>& hostSize, int parentPixels) const;

    XY<int> size_;
    ImageDescriptionEx overlay_;
    std::unique_ptr<VideoWindowView> view_;
    float scale_ = 1.0f;

    static std::vector<std::unique_ptr<VideoWindowView>>& extinctViews();
};
