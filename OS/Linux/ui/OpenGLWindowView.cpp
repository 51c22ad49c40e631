#include "OpenGLWindowView.h"

OpenGLWindowView::OpenGLWindowView(unsigned long parent, const Kv::Rectangle<int>& frame)
    : VideoWindowView(parent, frame, inputEvents)
{
}

// A request and a loss of pixels are one path: both are painted when the
// loop comes round.
void OpenGLWindowView::setNeedsDisplayInRect(const Kv::Rectangle<int>& rect)
{
    if (window() != 0 && rect.width() > 0 && rect.height() > 0)
        onExpose(rect, 0);
}

void OpenGLWindowView::onExpose(const Kv::Rectangle<int>& rect, int)
{
    dirty_ = dirty_.united(rect);
    if (drawPosted_)
        return;
    drawPosted_ = true;
    // The view may be gone when the loop comes round: it is looked up by its
    // window then.
    X11Application::instance().post([window = window()] {
        if (auto* view = dynamic_cast<OpenGLWindowView*>(X11Application::instance().findWindow(window)))
            view->drawRect();
    });
}

void OpenGLWindowView::drawRect()
{
    const Kv::Rectangle<int> dirty = dirty_;
    dirty_ = {};
    drawPosted_ = false;
    redirector().drawRect({}, dirty);
}
