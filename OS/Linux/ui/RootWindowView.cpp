#include "RootWindowView.h"

#include "GraphicPrimitivesRenderer.h"
#include "Region.h"
#include "ShmImage.h"




RootWindowView::RootWindowView(unsigned long parent, const Kv::Rectangle<int>& frame)
    : XView(parent, frame, inputEvents)
{
}

RootWindowView::~RootWindowView() = default;

void RootWindowView::requestRepaintRegion(const Kv::Ptr<iRegion>& region)
{
    dirtyRegions_.push_back(region ? region : Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{0, 0, size().x, size().y})));
    if (drawPosted_ || !window())
        return;
    drawPosted_ = true;
    // The view may be gone when the loop comes round: it is looked up by its
    // window then.
    X11Application::instance().post([window = window()] {
        if (auto* view = dynamic_cast<RootWindowView*>(X11Application::instance().findWindow(window))) {
            view->drawPosted_ = false;
            if (!view->dirtyRegions_.empty())
                view->draw(view->dirtyRegions_.front()->getBounds());
        }
    });
}

void RootWindowView::onExpose(const Kv::Rectangle<int>& rect, int count)
{
    exposed_ = exposed_.united(rect);
    if (count > 0)
        return;
    // What the server lost is painted with what was asked for.
    if (!dirtyRegions_.empty())
        dirtyRegions_.push_back(Kv::Ptr<iRegion>(new Region(exposed_)));
    draw(exposed_);
    exposed_ = {};
}

void RootWindowView::onResize()
{
    for (std::unique_ptr<ShmImage>& image : images_)
        image.reset();
    lastPainted_ = {};
}

void RootWindowView::onOtherEvent(const XEvent& event)
{
    for (std::unique_ptr<ShmImage>& image : images_)
        if (image && image->takeCompletion(event))
            return;
}

namespace
{
    // The region's rectangles as a clip of the context.
    void clipTo(cairo_t* context, const iRegion::Rectangles& rectangles)
    {
        for (const Kv::Rectangle<int>& rect : rectangles)
            cairo_rectangle(context, rect.left, rect.top, rect.width(), rect.height());
        cairo_clip(context);
    }
}

void RootWindowView::catchUp(ShmImage& image, const Kv::Ptr<iRegion>& region) const
{
    const ShmImage* other = images_[1 - current_].get();
    const Kv::Ptr<iRegion> rest = lastPainted_ ? lastPainted_->subtract(region) : Kv::Ptr<iRegion>();
    if (!rest || !other || !other->surface())
        return;
    iRegion::Rectangles missing;
    rest->getData(missing);
    cairo_t* context = cairo_create(image.surface());
    clipTo(context, missing);
    cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
    cairo_set_source_surface(context, other->surface(), 0, 0);
    cairo_paint(context);
    cairo_destroy(context);
}

void RootWindowView::draw(const Kv::Rectangle<int>& hostRect)
{
    std::unique_ptr<ShmImage>& image = images_[current_];
    if (!image)
        image = std::make_unique<ShmImage>(display(), size());
    const bool requested = !dirtyRegions_.empty();
    Kv::Ptr<iRegion> region;
    if (!requested) {
        region = Kv::Ptr<iRegion>(new Region(hostRect));
    } else {
        region = dirtyRegions_.front();
        for (size_t i = 1; i < dirtyRegions_.size(); ++i)
            region = region->getUnion(dirtyRegions_[i]);
    }
    dirtyRegions_.clear();
    if (!image->surface())
        return;
    image->waitUntilShown();
    catchUp(*image, region);
    iRegion::Rectangles rectangles;
    region->getData(rectangles);
    cairo_t* context = cairo_create(image->surface());
    // Only the painted part changes, as on any desktop.
    clipTo(context, rectangles);
    renderer_ = Kv::Ptr<iGraphicPrimitivesRenderer>(new GraphicPrimitivesRenderer(context, image->size(), 1.0f));
    cairo_destroy(context);
    if (requested)
        redirector().drawRegion(renderer_, region);
    else
        redirector().drawRect(renderer_, hostRect);
    renderer_ = {};
    image->put(window(), rectangles);
    lastPainted_ = region;
    current_ = 1 - current_;
}
