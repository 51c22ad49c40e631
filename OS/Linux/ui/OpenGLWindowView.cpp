#include "OpenGLWindowView.h"

#include <algorithm>

// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>

OpenGLWindowView::OpenGLWindowView(unsigned long parent, const Kv::Rectangle<int>& frame)
    : VideoWindowView(parent, frame, inputEvents)
{
}

// The server's own exposure asks for the paint, so a request and a loss of
// pixels are one path.
void OpenGLWindowView::setNeedsDisplayInRect(const Kv::Rectangle<int>& rect)
{
    if (window() != 0 && rect.width() > 0 && rect.height() > 0)
        XClearArea(display(), window(), rect.left, rect.top, unsigned(rect.width()), unsigned(rect.height()), True);
}

void OpenGLWindowView::onExpose(const Kv::Rectangle<int>& rect, int)
{
    dirty_ = dirty_.width() == 0 ? rect
                                 : Kv::Rectangle<int>{std::min(dirty_.left, rect.left), std::min(dirty_.top, rect.top),
                                                      std::max(dirty_.right, rect.right),
                                                      std::max(dirty_.bottom, rect.bottom)};
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
