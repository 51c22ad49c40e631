#pragma once

#include "EventRedirector.h"

#include <string>

typedef struct _XIC* XIC;

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
    // The input method's pre-edit callbacks; self is the text input.
    static int onPreeditStart(XIC, char* self, char*);
    static int onPreeditDone(XIC, char* self, char*);
    static int onPreeditDraw(XIC, char* self, char* change);
    static int onPreeditCaret(XIC, char*, char*);

    void createContext(unsigned long window);
    void sendText(const std::wstring& text) const;

    EventRedirector& redirector_;
    XIC context_ = nullptr;
    bool enabled_ = true;
    // Composed text goes out with the time stamp and modifiers of the key
    // press that finished or changed it.
    uint32_t keyTime_ = 0;
    uint32_t keyModifiers_ = 0;
    std::wstring preedit_;
};
