#pragma once

#include "EventRedirector.h"
#include "KvRectangle.h"
#include "X11Application.h"
#include "XTextInput.h"

// A view: a child X window of the library inside a top-level window or
// another view. Its frame is in X pixels from the parent's top left. Made,
// used and destroyed on the loop's thread. Key, button, motion and crossing
// events go to the redirector, through the text input for keys.
//
// Without a display the view has no window (window() is 0) and does nothing.
class XView : public XEventSink
{
public:
    // Input event masks: a view made with none lets the parent take its input.
    static const long inputEvents;

    // visualId 0 and depth 0 take the parent's.
    XView(unsigned long parent, const Kv::Rectangle<int>& frame, long eventMask, unsigned long visualId = 0,
          int depth = 0);
    ~XView() override;

    XView(const XView&) = delete;
    XView& operator=(const XView&) = delete;

    unsigned long window() const { return window_; }
    Display* display() const { return display_; }
    unsigned long superview() const { return parent_; }
    Kv::Rectangle<int> frame() const { return frame_; }
    XY<int> size() const { return XY<int>(frame_.width(), frame_.height()); }

    bool containsPointer() const;
    void setFrame(const Kv::Rectangle<int>& frame);
    void setHidden(bool hidden);
    EventRedirector& redirector() { return redirector_; }
    XTextInput& textInput() { return textInput_; }

    void handleXEvent(const XEvent& event) override;

protected:
    // A part of the view needs drawing again; count is how many more
    // Expose events follow at once.
    virtual void onExpose(const Kv::Rectangle<int>&, int /*count*/) {}
    // The server changed the view's size.
    virtual void onResize() {}
    // Events that no part of the view takes.
    virtual void onOtherEvent(const XEvent&) {}

private:
    Display* display_;
    unsigned long parent_;
    unsigned long window_ = 0;
    unsigned long colormap_ = 0;
    Kv::Rectangle<int> frame_;
    // The size the server last confirmed: a resize that we asked for is
    // only done once the server says so.
    XY<int> configuredSize_;
    EventRedirector redirector_;
    XTextInput textInput_;
};
