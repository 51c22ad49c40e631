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

private:
    void draw(const Kv::Rectangle<int>& hostRect);

    Kv::Ptr<iGraphicPrimitivesRenderer> renderer_;
    std::vector<Kv::Ptr<iRegion>> dirtyRegions_;
    std::unique_ptr<ShmImage> image_;
    Kv::Rectangle<int> exposed_;
    bool drawPosted_ = false;
};
