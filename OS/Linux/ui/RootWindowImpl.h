#pragma once

#include "KvRectangle.h"
#include "LightweightString.h"
#include "Ptr.h"
#include "X11Application.h"
#include "iEventHandler.h"
#include "iRootWindow.h"

#include <functional>
#include <vector>

// The top-level X window of a root window. It turns the window manager's
// notifications into WindowEvents (moved 2, resized 3, close 4, focus 5 and
// 6), keeps its content view filling it, and serves user messages. The
// application closes windows: the close button only asks.
class RootWindowImpl : public XEventSink
{
public:
    // frame is the outer frame in X pixels, title bar included where the
    // window manager draws one.
    RootWindowImpl(const Kv::Rectangle<int>& frame, const iRootWindow::InitArgs& args);
    ~RootWindowImpl();

    RootWindowImpl(const RootWindowImpl&) = delete;
    RootWindowImpl& operator=(const RootWindowImpl&) = delete;

    // 0 where no window could be made.
    unsigned long window() const { return window_; }
    // The client area in X pixels: position from the root window's top left.
    Kv::Rectangle<int> contentFrame() const;
    Kv::Rectangle<int> outerFrame() const;

    void setHandler(const Kv::Ptr<iEventHandler>& handler) { handler_ = handler; }
    // Called with the new content size whenever the server resizes it.
    void onContentResize(std::function<void(const XY<int>&)> resized) { contentResized_ = std::move(resized); }
    // Keys typed while the pointer is outside every view go to this one.
    void setKeyboardView(XEventSink* view) { keyboardView_ = view; }

    void show(bool takeFocus);
    void setTitle(const LightweightString<char>& utf8);
    void setSizeLimits(const XY<int>& minSize, const XY<int>& maxSize);
    void setOnTop(bool onTop);
    void setFullScreen(bool fullScreen);
    // Moves the outer frame's top left there.
    void moveTo(const XY<int>& topLeft);
    void minimise();
    void claimFocus();
    bool isMinimised() const;
    bool isMaximised() const;
    bool hasFocus() const { return focused_; }
    bool hasTitleBar() const { return titleBar_; }

    // From any thread. Dropped once the window is gone.
    static void postUserMessage(unsigned long window);
    // Minimises every root window of the application.
    static void hideAll();
    // Applies or lifts the presentation style on every root window.
    static void coverDesktop(bool cover);

    void handleXEvent(const XEvent& event) override;

private:
    void sendWindowEvent(uint32_t type) const;
    void onUserMessage();
    bool hasState(const char* state) const;
    void changeState(bool add, const char* state);

    Display* display_;
    unsigned long window_ = 0;
    Kv::Ptr<iEventHandler> handler_;
    std::function<void(const XY<int>&)> contentResized_;
    XEventSink* keyboardView_ = nullptr;
    Kv::Rectangle<int> content_;
    bool titleBar_ = true;
    bool focused_ = false;
    bool focusOnMap_ = false;
    bool onTop_ = false;
    bool fullScreen_ = false;
};
