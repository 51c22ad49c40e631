#pragma once

#include "KvRectangle.h"
#include "LightweightString.h"
#include "Ptr.h"
#include "XY.h"
#include "iEventHandler.h"
#include "iFont.h"
#include "iImageBase.h"
#include "iRegion.h"
#include "iTimer.h"
#include "iVideoWindow.h"

#include <cstdint>

// A top-level window as the application sees it. Sizes and positions are in
// backing pixels. Every operation but postUserMessage belongs on the main
// thread.
class KV_API iRootWindow : public iImageBase
{
public:
    struct InitArgs
    {
        XY<int> size;
        // The top left, counted from the top left of the primary screen.
        XY<int> position;
        uint8_t fullScreen = 0;
        uint8_t reserved1 = 0;
        uint8_t onTop = 0;
        uint8_t reserved2 = 0;
        uint8_t resizable = 0;
        uint8_t takeFocus = 0;
        uint8_t titleBar = 1;
        // Bits 0 and 1 ask for the minimise button, bit 2 for the close button.
        uint32_t buttons = 0;
        // An x of 0 leaves the limit as it is.
        XY<int> minSize;
        XY<int> maxSize;
        LightweightString<wchar_t> title;
        Kv::Ptr<iEventHandler> handler;
    };

    // False when no window could be made, as without a display.
    virtual bool realize(const InitArgs& args) = 0;
    virtual XY<int> getPosition() const = 0;
    virtual Kv::Rectangle<int> getUserArea() const = 0;
    virtual bool isTitleBarEnabled() const = 0;
    virtual bool isMinimised() const = 0;
    virtual bool isMaximised() const = 0;
    virtual bool isEnabled() const = 0;
    virtual bool hasFocus() const = 0;
    virtual int getID() const = 0;
    virtual bool containsMouse() const = 0;
    virtual unsigned int getScale() const = 0;
    virtual void enableTitleBar(bool enable) = 0;
    virtual void setEnabled(bool enable) = 0;
    // From any thread: the handler gets a UserEvent on the main loop, and an
    // answer of 1 stops the loop. Dropped once the window is gone.
    virtual void postUserMessage() = 0;
    virtual void setTitle(const LightweightString<wchar_t>& title) = 0;
    virtual void minimise() = 0;
    virtual void claimFocus() = 0;
    virtual void setEventHandler(Kv::Ptr<iEventHandler> handler) = 0;
    virtual void reserved1() = 0;
    // TimerEvents to this window's handler on the main loop.
    virtual Kv::Ptr<iTimer> createTimer(unsigned int periodMs) = 0;
    virtual Kv::Ptr<iFont> createFont(const LightweightString<wchar_t>& family, unsigned int size,
                                      unsigned int style) = 0;
    // A bar on the desktop's launcher, shown for values strictly between 0 and 1.
    virtual void showProgress(float value) = 0;
    // The handler paints later, once for all the requests made until then.
    virtual void requestRepaint(const Kv::Ptr<iRegion>& region) const = 0;
    // Only a window drawn with OpenGL has a back buffer.
    virtual Kv::Ptr<iVideoWindowBackBuffer> lock(bool) { return {}; }
    virtual void reserved2() = 0;
    virtual void reserved3() = 0;
};
