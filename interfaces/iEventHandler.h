#pragma once

#include "Events.h"
#include "iObject.h"

// Implemented by the application: where every event of a window or a timer
// goes, on the main thread. Only the user event's answer is read: 1 from it
// stops the main loop. The library never calls the reserved slots.
class KV_API iEventHandler : public virtual iObject
{
public:
    virtual int handleMouseEvent(const MouseEvent&) { return 0; }
    virtual int handleKeyEvent(const KeyEvent&) { return 0; }
    virtual int handlePaintEvent(const PaintEvent&) { return 0; }
    virtual int handleWindowEvent(const WindowEvent&) { return 0; }
    virtual int handleTimerEvent(const TimerEvent&) { return 0; }
    virtual int reserved1() { return 0; }
    virtual int reserved2() { return 0; }
    virtual int handleDragDropEvent(const FileDragDropEvent&) { return 0; }
    virtual int reserved3() { return 0; }
    virtual int32_t handleUserEvent(const UserEvent&) { return 0; }
};
