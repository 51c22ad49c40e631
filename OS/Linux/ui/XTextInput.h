#pragma once

#include "EventRedirector.h"

typedef struct _XIC* XIC;
typedef union _XEvent XEvent;

// The text input of a view: an input context of the process's input method.
// Special keys and shortcuts go to the redirector as keys; typed and composed
// text reaches the handler as a KeyEvent with its text, and pre-edit text as
// marked text the same way. Without an input method each key gives its own
// characters.
class XTextInput
{
public:
    XTextInput(unsigned long window, EventRedirector& redirector);
    ~XTextInput();

    XTextInput(const XTextInput&) = delete;
    XTextInput& operator=(const XTextInput&) = delete;

    // Key presses and releases of the view's window.
    void dispatch(const XEvent& event);
    // Off, keys reach the handler without composition.
    void setEnabled(bool enabled);

private:
    EventRedirector& redirector_;
    XIC context_ = nullptr;
    bool enabled_ = true;
};
