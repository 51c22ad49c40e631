#include "RootWindowImpl.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <cstring>
#include <poll.h>

namespace
{
    // Every realised root window of the process, in the order made.
    std::vector<RootWindowImpl*>& allWindows()
    {
        static std::vector<RootWindowImpl*> windows;
        return windows;
    }

    // The Motif hints that window managers read for decorations and buttons.
    struct MotifHints
    {
        unsigned long flags;
        unsigned long functions;
        unsigned long decorations;
        long inputMode;
        unsigned long status;
    };
    constexpr unsigned long motifFunctions = 1, motifDecorations = 2;
    constexpr unsigned long functionResize = 2, functionMove = 4, functionMinimise = 8, functionClose = 32;
    constexpr unsigned long decorationAll = 1;

    std::vector<long> readCardinals(Display* display, Window window, Atom property)
    {
        std::vector<long> values;
        Atom type = None;
        int format = 0;
        unsigned long count = 0;
        unsigned long remaining = 0;
        unsigned char* data = nullptr;
        if (XGetWindowProperty(display, window, property, 0, 64, False, AnyPropertyType, &type, &format, &count,
                               &remaining, &data) == Success &&
            data && format == 32)
            values.assign(reinterpret_cast<long*>(data), reinterpret_cast<long*>(data) + count);
        if (data)
            XFree(data);
        return values;
    }

    bool windowManagerRuns(Display* display)
    {
        return !readCardinals(display, DefaultRootWindow(display),
                              X11Application::instance().atom("_NET_SUPPORTING_WM_CHECK"))
                    .empty();
    }

    // Left, right, top and bottom of the decorations that the window manager
    // will put round the window: it answers a request before the window is
    // shown. A window manager that does not answer soon adds none.
    std::vector<long> requestFrameExtents(Display* display, Window window)
    {
        X11Application& application = X11Application::instance();
        const Atom extents = application.atom("_NET_FRAME_EXTENTS");
        XEvent request{};
        request.xclient.type = ClientMessage;
        request.xclient.window = window;
        request.xclient.message_type = application.atom("_NET_REQUEST_FRAME_EXTENTS");
        request.xclient.format = 32;
        XSendEvent(display, DefaultRootWindow(display), False, SubstructureNotifyMask | SubstructureRedirectMask,
                   &request);
        XFlush(display);
        for (int waited = 0; waited < 200; waited += 10) {
            const std::vector<long> values = readCardinals(display, window, extents);
            if (values.size() == 4)
                return values;
            pollfd fd{ConnectionNumber(display), POLLIN, 0};
            poll(&fd, 1, 10);
        }
        return {0, 0, 0, 0};
    }
}

RootWindowImpl::RootWindowImpl(const Kv::Rectangle<int>& frame, const iRootWindow::InitArgs& args)
    : display_(X11Application::instance().display()), handler_(args.handler), titleBar_(args.titleBar != 0),
      onTop_(args.onTop != 0), fullScreen_(args.fullScreen != 0)
{
    if (!display_)
        return;
    X11Application& application = X11Application::instance();
    XSetWindowAttributes attributes{};
    attributes.event_mask = StructureNotifyMask | FocusChangeMask | PropertyChangeMask | KeyPressMask | KeyReleaseMask;
    attributes.background_pixel = BlackPixel(display_, DefaultScreen(display_));
    window_ = XCreateWindow(display_, DefaultRootWindow(display_), frame.left, frame.top,
                            std::max(1, frame.width()), std::max(1, frame.height()), 0, CopyFromParent, InputOutput,
                            CopyFromParent, CWEventMask | CWBackPixel, &attributes);
    application.addWindow(window_, this);
    allWindows().push_back(this);

    Atom protocols[] = {Atom(application.atom("WM_DELETE_WINDOW"))};
    XSetWMProtocols(display_, window_, protocols, 1);
    XClassHint classHint{const_cast<char*>("kvos"), const_cast<char*>("Kvos")};
    XSetClassHint(display_, window_, &classHint);

    MotifHints motif{};
    motif.flags = motifFunctions | motifDecorations;
    motif.decorations = args.titleBar ? decorationAll : 0;
    motif.functions = functionMove | (args.resizable ? functionResize : 0) |
                      ((args.buttons & 3) ? functionMinimise : 0) | ((args.buttons & 4) ? functionClose : 0);
    const Atom motifAtom = application.atom("_MOTIF_WM_HINTS");
    XChangeProperty(display_, window_, motifAtom, motifAtom, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(&motif), 5);

    // The decorations come out of the frame, so that the whole window is
    // where it was asked to be.
    XY<int> contentSize(std::max(1, frame.width()), std::max(1, frame.height()));
    if (args.titleBar && !(args.fullScreen && args.onTop) && windowManagerRuns(display_)) {
        const std::vector<long> extents = requestFrameExtents(display_, window_);
        contentSize = XY<int>(std::max(1, frame.width() - int(extents[0] + extents[1])),
                              std::max(1, frame.height() - int(extents[2] + extents[3])));
        XResizeWindow(display_, window_, contentSize.x, contentSize.y);
    }
    content_ = {frame.left, frame.top, frame.left + contentSize.x, frame.top + contentSize.y};

    XSizeHints* hints = XAllocSizeHints();
    hints->flags = USPosition | USSize | PWinGravity;
    hints->x = frame.left;
    hints->y = frame.top;
    hints->width = contentSize.x;
    hints->height = contentSize.y;
    hints->win_gravity = NorthWestGravity;
    if (!args.resizable) {
        hints->flags |= PMinSize | PMaxSize;
        hints->min_width = hints->max_width = contentSize.x;
        hints->min_height = hints->max_height = contentSize.y;
    }
    XSetWMNormalHints(display_, window_, hints);
    XFree(hints);

    if (onTop_)
        changeState(true, "_NET_WM_STATE_ABOVE");
    if (fullScreen_)
        changeState(true, "_NET_WM_STATE_FULLSCREEN");
}

RootWindowImpl::~RootWindowImpl()
{
    std::erase(allWindows(), this);
    if (!window_)
        return;
    X11Application::instance().removeWindow(window_);
    if (Display* display = X11Application::instance().display()) {
        XDestroyWindow(display, window_);
        XFlush(display);
    }
}

Kv::Rectangle<int> RootWindowImpl::contentFrame() const
{
    if (!X11Application::instance().display() || !window_)
        return content_;
    int x = 0;
    int y = 0;
    Window child = None;
    XTranslateCoordinates(display_, window_, DefaultRootWindow(display_), 0, 0, &x, &y, &child);
    return {x, y, x + content_.width(), y + content_.height()};
}

Kv::Rectangle<int> RootWindowImpl::outerFrame() const
{
    Kv::Rectangle<int> frame = contentFrame();
    if (!X11Application::instance().display() || !window_)
        return frame;
    const std::vector<long> extents =
        readCardinals(display_, window_, X11Application::instance().atom("_NET_FRAME_EXTENTS"));
    if (extents.size() == 4)
        frame = {frame.left - int(extents[0]), frame.top - int(extents[2]), frame.right + int(extents[1]),
                 frame.bottom + int(extents[3])};
    return frame;
}

void RootWindowImpl::show(bool takeFocus)
{
    if (!X11Application::instance().display() || !window_)
        return;
    if (!takeFocus) {
        // A user time of 0 asks the window manager not to focus it.
        long userTime = 0;
        XChangeProperty(display_, window_, X11Application::instance().atom("_NET_WM_USER_TIME"), XA_CARDINAL, 32,
                        PropModeReplace, reinterpret_cast<unsigned char*>(&userTime), 1);
    }
    focusOnMap_ = takeFocus;
    XMapRaised(display_, window_);
    XFlush(display_);
}

void RootWindowImpl::setTitle(const LightweightString<char>& utf8)
{
    if (!X11Application::instance().display() || !window_)
        return;
    const char* text = utf8.c_str() ? utf8.c_str() : "";
    X11Application& application = X11Application::instance();
    XChangeProperty(display_, window_, application.atom("_NET_WM_NAME"), application.atom("UTF8_STRING"), 8,
                    PropModeReplace, reinterpret_cast<const unsigned char*>(text), int(std::strlen(text)));
    XStoreName(display_, window_, text);
}

void RootWindowImpl::setSizeLimits(const XY<int>& minSize, const XY<int>& maxSize)
{
    if (!X11Application::instance().display() || !window_ || (minSize.x == 0 && maxSize.x == 0))
        return;
    XSizeHints* hints = XAllocSizeHints();
    long supplied = 0;
    XGetWMNormalHints(display_, window_, hints, &supplied);
    if (minSize.x != 0) {
        hints->flags |= PMinSize;
        hints->min_width = std::max(1, minSize.x);
        hints->min_height = std::max(1, minSize.y);
    }
    if (maxSize.x != 0) {
        hints->flags |= PMaxSize;
        hints->max_width = std::max(1, maxSize.x);
        hints->max_height = std::max(1, maxSize.y);
    }
    XSetWMNormalHints(display_, window_, hints);
    XFree(hints);
}

void RootWindowImpl::moveTo(const XY<int>& topLeft)
{
    if (X11Application::instance().display() && window_)
        XMoveWindow(display_, window_, topLeft.x, topLeft.y);
}

void RootWindowImpl::minimise()
{
    if (X11Application::instance().display() && window_) {
        XIconifyWindow(display_, window_, DefaultScreen(display_));
        XFlush(display_);
    }
}

void RootWindowImpl::claimFocus()
{
    if (!X11Application::instance().display() || !window_)
        return;
    if (windowManagerRuns(display_)) {
        XEvent request{};
        request.xclient.type = ClientMessage;
        request.xclient.window = window_;
        request.xclient.message_type = X11Application::instance().atom("_NET_ACTIVE_WINDOW");
        request.xclient.format = 32;
        request.xclient.data.l[0] = 2; // from a pager: the request is the user's
        XSendEvent(display_, DefaultRootWindow(display_), False, SubstructureNotifyMask | SubstructureRedirectMask,
                   &request);
    } else {
        XWindowAttributes attributes{};
        if (XGetWindowAttributes(display_, window_, &attributes) && attributes.map_state == IsViewable)
            XSetInputFocus(display_, window_, RevertToParent, CurrentTime);
    }
    XRaiseWindow(display_, window_);
    XFlush(display_);
}

bool RootWindowImpl::isMinimised() const
{
    if (!X11Application::instance().display() || !window_)
        return false;
    const Atom wmState = X11Application::instance().atom("WM_STATE");
    const std::vector<long> state = readCardinals(display_, window_, wmState);
    return (!state.empty() && state[0] == IconicState) || hasState("_NET_WM_STATE_HIDDEN");
}

bool RootWindowImpl::isMaximised() const
{
    return hasState("_NET_WM_STATE_MAXIMIZED_VERT") && hasState("_NET_WM_STATE_MAXIMIZED_HORZ");
}

void RootWindowImpl::setOnTop(bool onTop) { changeState(onTop, "_NET_WM_STATE_ABOVE"); }

void RootWindowImpl::setFullScreen(bool fullScreen) { changeState(fullScreen, "_NET_WM_STATE_FULLSCREEN"); }

bool RootWindowImpl::hasState(const char* state) const
{
    if (!X11Application::instance().display() || !window_)
        return false;
    X11Application& application = X11Application::instance();
    const std::vector<long> states = readCardinals(display_, window_, application.atom("_NET_WM_STATE"));
    return std::find(states.begin(), states.end(), long(application.atom(state))) != states.end();
}

void RootWindowImpl::changeState(bool add, const char* state)
{
    if (!X11Application::instance().display() || !window_)
        return;
    X11Application& application = X11Application::instance();
    const Atom netState = application.atom("_NET_WM_STATE");
    const Atom stateAtom = application.atom(state);
    XWindowAttributes attributes{};
    XGetWindowAttributes(display_, window_, &attributes);
    if (attributes.map_state != IsUnmapped && windowManagerRuns(display_)) {
        XEvent request{};
        request.xclient.type = ClientMessage;
        request.xclient.window = window_;
        request.xclient.message_type = netState;
        request.xclient.format = 32;
        request.xclient.data.l[0] = add ? 1 : 0;
        request.xclient.data.l[1] = long(stateAtom);
        request.xclient.data.l[3] = 1;
        XSendEvent(display_, DefaultRootWindow(display_), False, SubstructureNotifyMask | SubstructureRedirectMask,
                   &request);
        XFlush(display_);
        return;
    }
    // Before the window is shown the window manager reads the property.
    std::vector<long> states = readCardinals(display_, window_, netState);
    std::erase(states, long(stateAtom));
    if (add)
        states.push_back(long(stateAtom));
    XChangeProperty(display_, window_, netState, XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(states.data()), int(states.size()));
}

void RootWindowImpl::postUserMessage(unsigned long window)
{
    X11Application::instance().post([window] {
        if (auto* impl = dynamic_cast<RootWindowImpl*>(X11Application::instance().findWindow(window)))
            impl->onUserMessage();
    });
}

void RootWindowImpl::onUserMessage()
{
    if (!handler_)
        return;
    const UserEvent event;
    if (handler_->handleUserEvent(event) == 1)
        X11Application::instance().stop();
}

void RootWindowImpl::hideAll()
{
    for (RootWindowImpl* window : allWindows())
        window->minimise();
}

void RootWindowImpl::coverDesktop(bool cover)
{
    for (RootWindowImpl* window : allWindows()) {
        window->changeState(cover || window->fullScreen_, "_NET_WM_STATE_FULLSCREEN");
        window->changeState(cover || window->onTop_, "_NET_WM_STATE_ABOVE");
    }
}

void RootWindowImpl::sendWindowEvent(uint32_t type) const
{
    if (!handler_)
        return;
    WindowEvent event;
    event.type = type;
    handler_->handleWindowEvent(event);
}

void RootWindowImpl::handleXEvent(const XEvent& event)
{
    X11Application& application = X11Application::instance();
    switch (event.type) {
    case ConfigureNotify: {
        const XY<int> size(event.xconfigure.width, event.xconfigure.height);
        const Kv::Rectangle<int> before = content_;
        content_ = contentFrame();
        content_.right = content_.left + size.x;
        content_.bottom = content_.top + size.y;
        if (content_.left != before.left || content_.top != before.top)
            sendWindowEvent(2);
        if (content_.width() != before.width() || content_.height() != before.height()) {
            if (contentResized_)
                contentResized_(size);
            sendWindowEvent(3);
        }
        break;
    }
    case KeyPress:
    case KeyRelease:
        if (keyboardView_)
            keyboardView_->handleXEvent(event);
        break;
    case MapNotify:
        if (focusOnMap_) {
            focusOnMap_ = false;
            claimFocus();
        }
        break;
    case FocusIn:
    case FocusOut:
        // Focus moving between the window and its views stays inside.
        if (event.xfocus.detail == NotifyInferior || event.xfocus.detail == NotifyPointer)
            break;
        focused_ = event.type == FocusIn;
        sendWindowEvent(focused_ ? 5 : 6);
        break;
    case ClientMessage:
        if (Atom(event.xclient.message_type) == application.atom("WM_PROTOCOLS") &&
            Atom(event.xclient.data.l[0]) == application.atom("WM_DELETE_WINDOW"))
            sendWindowEvent(4);
        break;
    default:
        break;
    }
}
