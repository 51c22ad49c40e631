#pragma once

#include "Events.h"
#include "KvRectangle.h"
#include "Ptr.h"
#include "iEventHandler.h"
#include "iGraphicPrimitivesRenderer.h"
#include "iRegion.h"

#include <cstdint>

typedef union _XEvent XEvent;

// Between a view and the application's handler: turns X input events into
// the library's event records, with its key codes, modifier bits and mouse
// types. Each view owns one. Everything runs on the loop's thread.
//
// The emulated right click and the last modifier state are process-wide, so
// a click begun in one window and ended in another still pairs up.
class EventRedirector
{
public:
    void setHandler(const Kv::Ptr<iEventHandler>& handler);
    const Kv::Ptr<iEventHandler>& handler() const { return handler_; }

    // Mouse buttons held, from an X event's state: 2 left, 1 right.
    static uint32_t getMouseState(unsigned int state);

    // A PaintEvent for the rectangle, or for the region as it stands.
    void drawRect(const Kv::Ptr<iGraphicPrimitivesRenderer>& renderer, const Kv::Rectangle<int>& rect);
    void drawRegion(const Kv::Ptr<iGraphicPrimitivesRenderer>& renderer, const Kv::Ptr<iRegion>& region);

    // Button, motion, wheel and crossing events of the view's window; the
    // others are left alone.
    void dispatch(const XEvent& event);

    // A key through the key table and the quit and hide keys; modifier keys
    // give their synthesised key events.
    void handleKeyEvent(const XEvent& event, KeyEvent::eType type);
    // Forwards the record as it is: composed text comes this way.
    void keyEvent(const KeyEvent& event);
    void handleDragDropEvent(const FileDragDropEvent& event);

private:
    Kv::Ptr<iEventHandler> handler_;
};
