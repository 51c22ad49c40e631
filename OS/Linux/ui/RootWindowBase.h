#pragma once

#include "RootWindowImpl.h"
#include "WindowPosition.h"
#include "XView.h"
#include "iRootWindow.h"

#include <atomic>
#include <cstdint>
#include <memory>

// Everything of a root window but its view: the top-level X window, its
// placement, styles and events. Each kind makes its view in createView. Made
// and used on the loop's thread; postUserMessage from any thread.
class RootWindowBase : public iRootWindow
{
public:
    RootWindowBase();
    ~RootWindowBase() override;

    XY<int> getSize() const override;
    bool realize(const InitArgs& args) override;
    XY<int> getPosition() const override;
    Kv::Rectangle<int> getUserArea() const override;
    bool isTitleBarEnabled() const override;
    bool isMinimised() const override;
    bool isMaximised() const override;
    bool isEnabled() const override;
    bool hasFocus() const override;
    int getID() const override;
    bool containsMouse() const override;
    unsigned int getScale() const override;
    void enableTitleBar(bool enable) override;
    void setEnabled(bool enable) override;
    void postUserMessage() override;
    void setTitle(const LightweightString<wchar_t>& title) override;
    void minimise() override;
    void claimFocus() override;
    void setEventHandler(Kv::Ptr<iEventHandler> handler) override;
    void reserved1() override;
    Kv::Ptr<iTimer> createTimer(unsigned int periodMs) override;
    Kv::Ptr<iFont> createFont(const LightweightString<wchar_t>& family, unsigned int size,
                              unsigned int style) override;
    void showProgress(float value) override;
    void reserved2() override;
    void reserved3() override;

    // The content view, filling the window; frame in X pixels.
    virtual std::unique_ptr<XView> createView(const Kv::Rectangle<int>& frame) = 0;
    virtual void enforceWindowPosition(const WindowPosition& position);

    // Whether the view's text input composes.
    void setIMEEnabled(bool enabled);
    // The realised window that has the keyboard, else the one realised last;
    // null when there is none.
    static RootWindowBase* active();

    // Null before realize, and where no window could be made.
    XView* view() const { return view_.get(); }
    RootWindowImpl* window() const { return window_.get(); }

protected:
    uint8_t scale_ = 1;
    std::unique_ptr<RootWindowImpl> window_;
    std::unique_ptr<XView> view_;
    Kv::Ptr<iEventHandler> handler_;

private:
    bool enabled_ = true;
    // The one thing other threads read: where their user messages go.
    std::atomic<unsigned long> cachedWindow_ = 0;
};
