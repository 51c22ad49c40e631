#pragma once

#include "XView.h"
#include "iGraphicPrimitivesRenderer.h"
#include "iRegion.h"

#include <memory>
#include <vector>

class ShmImage;

// The view of a root window drawn in main memory. Repaint requests collect
// until the loop comes round; then the handler paints once, for their union,
// into an image of the view's size, and the painted part goes to the screen.
class RootWindowView : public XView
{
public:
    RootWindowView(unsigned long parent, const Kv::Rectangle<int>& frame);
    ~RootWindowView() override;

    // Null outside a paint.
    const Kv::Ptr<iGraphicPrimitivesRenderer>& renderer() const { return renderer_; }
    // A null region is the whole view.
    void requestRepaintRegion(const Kv::Ptr<iRegion>& region);

protected:
    void onExpose(const Kv::Rectangle<int>& rect, int count) override;
    void onResize() override;
    void onOtherEvent(const XEvent& event) override;

private:
    void draw(const Kv::Rectangle<int>& hostRect);
    // Brings the image up to date with the other one's last paint, outside
    // the region about to be painted.
    void catchUp(ShmImage& image, const Kv::Ptr<iRegion>& region) const;

    Kv::Ptr<iGraphicPrimitivesRenderer> renderer_;
    std::vector<Kv::Ptr<iRegion>> dirtyRegions_;
    // Two images, so that the server reads one while the next paint goes
    // into the other; each lacks only the other's last paint.
    std::unique_ptr<ShmImage> images_[2];
    int current_ = 0;
    Kv::Ptr<iRegion> lastPainted_;
    Kv::Rectangle<int> exposed_;
    bool drawPosted_ = false;
};
