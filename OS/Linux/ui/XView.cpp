#include "XView.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>

const long XView::inputEvents = KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask |
                                PointerMotionMask | EnterWindowMask | LeaveWindowMask | FocusChangeMask;

namespace
{
    unsigned long createWindow(Display* display, unsigned long parent, const Kv::Rectangle<int>& frame,
                               long eventMask, unsigned long visualId, int depth, unsigned long& colormap)
    {
        if (!display || !parent)
            return 0;
        XSetWindowAttributes attributes{};
        attributes.event_mask = eventMask | ExposureMask | StructureNotifyMask;
        attributes.bit_gravity = NorthWestGravity;
        unsigned long mask = CWEventMask | CWBitGravity;
        Visual* visual = CopyFromParent;
        if (visualId) {
            XVisualInfo wanted{};
            wanted.visualid = visualId;
            int count = 0;
            if (XVisualInfo* found = XGetVisualInfo(display, VisualIDMask, &wanted, &count)) {
                visual = found->visual;
                depth = found->depth;
                XFree(found);
                colormap = XCreateColormap(display, parent, visual, AllocNone);
                attributes.colormap = colormap;
                // A window of another depth than its parent needs its own border.
                attributes.border_pixel = 0;
                mask |= CWColormap | CWBorderPixel;
            }
        }
        return XCreateWindow(display, parent, frame.left, frame.top, std::max(1, frame.width()),
                             std::max(1, frame.height()), 0, depth ? depth : CopyFromParent, InputOutput, visual,
                             mask, &attributes);
    }
}

XView::XView(unsigned long parent, const Kv::Rectangle<int>& frame, long eventMask, unsigned long visualId,
             int depth)
    : display_(X11Application::instance().display()), parent_(parent),
      window_(createWindow(display_, parent, frame, eventMask, visualId, depth, colormap_)), frame_(frame),
      configuredSize_(size()),
      textInput_(window_, redirector_)
{
    if (!window_)
        return;
    X11Application::instance().addWindow(window_, this);
    XMapWindow(display_, window_);
}

XView::~XView()
{
    if (!window_)
        return;
    X11Application::instance().removeWindow(window_);
    if (Display* display = X11Application::instance().display()) {
        XDestroyWindow(display, window_);
        if (colormap_)
            XFreeColormap(display, colormap_);
        XFlush(display);
    }
}

bool XView::containsPointer() const
{
    if (!window_ || !X11Application::instance().display())
        return false;
    const XY<int> pointer = X11Application::instance().pointerIn(window_);
    return pointer.x >= 0 && pointer.y >= 0 && pointer.x < size().x && pointer.y < size().y;
}

void XView::setFrame(const Kv::Rectangle<int>& frame)
{
    frame_ = frame;
    if (window_)
        XMoveResizeWindow(display_, window_, frame.left, frame.top, std::max(1, frame.width()),
                          std::max(1, frame.height()));
}

void XView::setHidden(bool hidden)
{
    if (!window_)
        return;
    if (hidden)
        XUnmapWindow(display_, window_);
    else
        XMapWindow(display_, window_);
}

void XView::handleXEvent(const XEvent& event)
{
    switch (event.type) {
    case KeyPress:
    case KeyRelease:
        textInput_.dispatch(event);
        break;
    case ButtonPress:
    case ButtonRelease:
    case MotionNotify:
    case EnterNotify:
    case LeaveNotify:
        redirector_.dispatch(event);
        break;
    case Expose:
        onExpose({event.xexpose.x, event.xexpose.y, event.xexpose.x + event.xexpose.width,
                  event.xexpose.y + event.xexpose.height},
                 event.xexpose.count);
        break;
    case ConfigureNotify: {
        const XConfigureEvent& configure = event.xconfigure;
        const Kv::Rectangle<int> frame{configure.x, configure.y, configure.x + configure.width,
                                       configure.y + configure.height};
        frame_ = frame;
        if (size() != configuredSize_) {
            configuredSize_ = size();
            onResize();
        }
        break;
    }
    default:
        onOtherEvent(event);
        break;
    }
}
