#include "StatusWindow.h"

#include "Region.h"
#include "RootWindow.h"

namespace
{
    class ContentsPainter : public iEventHandler
    {
    public:
        explicit ContentsPainter(Kv::Ptr<iStatusWindow::iContents> contents) : contents_(std::move(contents)) {}

        int handlePaintEvent(const PaintEvent& event) override
        {
            if (contents_ && event.renderer)
                contents_->paint(*event.renderer, size);
            return 0;
        }

        XY<int> size;

    private:
        Kv::Ptr<iStatusWindow::iContents> contents_;
    };
}

StatusWindow::StatusWindow(Kv::Ptr<iStatusWindow::iContents> contents, const XY<int>& size,
                           const XY<int>& position)
{
    Kv::Ptr<ContentsPainter> painter(new ContentsPainter(std::move(contents)));
    painter->size = size;
    iRootWindow::InitArgs args;
    args.size = size;
    args.position = position;
    args.onTop = 1;
    args.titleBar = 0;
    args.handler = Kv::Ptr<iEventHandler>(painter);
    window_ = Kv::Ptr<iRootWindow>(new RootWindow);
    if (!window_->realize(args))
        window_ = {};
}

void StatusWindow::update()
{
    if (window_) {
        const XY<int> size = window_->getSize();
        window_->requestRepaint(Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{0, 0, size.x, size.y})));
    }
}

void StatusWindow::setVisible(bool visible)
{
    if (window_)
        dynamic_cast<RootWindowBase&>(*window_).window()->setVisible(visible);
}
