#include "EventRedirector.h"

#include "KeyMap.h"
#include "Region.h"
#include "RootWindowImpl.h"
#include "X11Application.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>
// Xutil's region type would take the name of the library's.
#define Region XRegion
#include <X11/Xutil.h>
#undef Region

namespace
{
    // Process-wide: a gesture begun over one view may end over another.
    bool emulatingRightClick = false;
    uint32_t lastModifiers = 0;

    constexpr uint32_t modifierBits =
        Kv::Modifier::Shift | Kv::Modifier::Control | Kv::Modifier::Option | Kv::Modifier::Command;
    // The state bits of modifier keys, Num Lock (Mod2) left out: it changes
    // nothing about a gesture.
    constexpr unsigned int modifierKeyMasks = ShiftMask | LockMask | ControlMask | Mod1Mask | Mod3Mask | Mod4Mask |
                                              Mod5Mask;

    constexpr unsigned int wheelUp = 4;
    constexpr unsigned int wheelDown = 5;
    constexpr unsigned int wheelLeft = 6;
    constexpr unsigned int wheelRight = 7;
    constexpr unsigned int backButton = 8;
    constexpr unsigned int forwardButton = 9;

    // X gives the state from before the event; the records hold the buttons
    // after it, so a left press already counts the left button.
    unsigned int buttonStateAfter(const XButtonEvent& event)
    {
        if (event.button < Button1 || event.button > Button5)
            return event.state;
        const unsigned int mask = Button1Mask << (event.button - Button1);
        return event.type == ButtonPress ? event.state | mask : event.state & ~mask;
    }

    // The record's type, or 0 for a button event that sends nothing.
    uint32_t buttonEventType(const XButtonEvent& event, MouseEvent& mouse)
    {
        const bool press = event.type == ButtonPress;
        switch (event.button) {
        case Button1:
            if (press && (KeyMap::getKeyModifiers(event.state) & Kv::Modifier::Control)) {
                emulatingRightClick = true;
                mouse.buttons = MouseEvent::RightButton;
                return MouseEvent::RightDown;
            }
            if (!press && emulatingRightClick) {
                emulatingRightClick = false;
                return MouseEvent::RightUp;
            }
            return press ? MouseEvent::LeftDown : MouseEvent::LeftUp;
        case Button3:
            return press ? MouseEvent::RightDown : MouseEvent::RightUp;
        case Button2:
        case backButton:
        case forwardButton:
            return press ? MouseEvent::OtherDown : MouseEvent::OtherUp;
        case wheelUp:
        case wheelDown:
            mouse.wheelDelta = event.button == wheelUp ? 1 : -1;
            return press ? uint32_t(MouseEvent::Wheel) : 0;
        case wheelLeft:
        case wheelRight:
            // Sideways only with Shift alone, and then always +1, whichever
            // way: applications rely on it.
            mouse.wheelDelta = 1;
            return press && (event.state & modifierKeyMasks) == ShiftMask ? uint32_t(MouseEvent::Wheel) : 0;
        default:
            return 0;
        }
    }

    // The outermost ancestor that is a window of this process, else the
    // outermost below the root: a window manager puts top-level windows in
    // frames of its own.
    Window keyboardOwner(Display* display, Window window)
    {
        Window ours = None;
        Window outermost = window;
        for (Window current = window; current != None;) {
            if (X11Application::instance().findWindow(current))
                ours = current;
            outermost = current;
            Window root = None;
            Window parent = None;
            Window* children = nullptr;
            unsigned int count = 0;
            if (!XQueryTree(display, current, &root, &parent, &children, &count))
                break;
            if (children)
                XFree(children);
            current = parent == root ? None : parent;
        }
        return ours ? ours : outermost;
    }

    int ignoreError(Display*, XErrorEvent*) { return 0; }

    // The window may be unmapped or gone by the time the server reads the
    // requests, and Xlib's default handler would end the process.
    void giveKeyboardToTopLevel(Display* display, Window window, Time time)
    {
        XSync(display, False);
        const XErrorHandler previous = XSetErrorHandler(ignoreError);
        XSetInputFocus(display, keyboardOwner(display, window), RevertToParent, time);
        XSync(display, False);
        XSetErrorHandler(previous);
    }

    // The state bits the key sets, from the server's modifier map.
    unsigned int modifierMaskOf(Display* display, KeyCode keycode)
    {
        XModifierKeymap* map = XGetModifierMapping(display);
        if (!map)
            return 0;
        unsigned int mask = 0;
        for (int modifier = 0; modifier < 8; ++modifier)
            for (int slot = 0; slot < map->max_keypermod; ++slot)
                if (map->modifiermap[modifier * map->max_keypermod + slot] == keycode)
                    mask |= 1u << modifier;
        XFreeModifiermap(map);
        return mask;
    }

    bool isCommandShortcut(const KeyEvent& key, char upperCaseLetter)
    {
        return key.modifiers == Kv::Modifier::Command &&
               (key.key == uint32_t(upperCaseLetter) || key.key == uint32_t(upperCaseLetter - 'A' + 'a'));
    }
}

void EventRedirector::setHandler(const Kv::Ptr<iEventHandler>& handler) { handler_ = handler; }

uint32_t EventRedirector::getMouseState(unsigned int state)
{
    uint32_t buttons = 0;
    if (state & Button1Mask)
        buttons |= MouseEvent::LeftButton;
    if (state & Button3Mask)
        buttons |= MouseEvent::RightButton;
    return buttons;
}

void EventRedirector::drawRect(const Kv::Ptr<iGraphicPrimitivesRenderer>& renderer, const Kv::Rectangle<int>& rect)
{
    if (handler_)
        drawRegion(renderer, Kv::Ptr<iRegion>(new Region(rect)));
}

void EventRedirector::drawRegion(const Kv::Ptr<iGraphicPrimitivesRenderer>& renderer, const Kv::Ptr<iRegion>& region)
{
    if (!handler_)
        return;
    PaintEvent paint;
    paint.renderer = renderer;
    paint.region = region;
    handler_->handlePaintEvent(paint);
}

void EventRedirector::dispatch(const XEvent& event)
{
    MouseEvent mouse;
    switch (event.type) {
    case ButtonPress:
    case ButtonRelease:
        mouse.position = XY<int>(event.xbutton.x, event.xbutton.y);
        mouse.timeStamp = uint32_t(event.xbutton.time);
        mouse.buttons = getMouseState(buttonStateAfter(event.xbutton));
        mouse.type = buttonEventType(event.xbutton, mouse);
        if (mouse.type)
            mouseEvent(mouse);
        break;
    case MotionNotify:
        mouse.position = XY<int>(event.xmotion.x, event.xmotion.y);
        mouse.timeStamp = uint32_t(event.xmotion.time);
        mouse.buttons = emulatingRightClick ? uint32_t(MouseEvent::RightButton) : getMouseState(event.xmotion.state);
        mouse.type = MouseEvent::Move;
        mouseEvent(mouse);
        break;
    case EnterNotify:
    case LeaveNotify:
        // Going into or coming back from a child view is no crossing of this one.
        if (event.xcrossing.detail != NotifyInferior)
            crossing(event);
        break;
    default:
        break;
    }
}

void EventRedirector::crossing(const XEvent& event) const
{
    if (event.type == LeaveNotify) {
        windowEvent(WindowEvent::MouseLeft);
        return;
    }
    // The pointer entering a window gives it the keyboard, on purpose.
    const XCrossingEvent& enter = event.xcrossing;
    giveKeyboardToTopLevel(enter.display, enter.window, enter.time);
    windowEvent(WindowEvent::MouseEntered);
}

void EventRedirector::handleKeyEvent(const XEvent& event, KeyEvent::eType type)
{
    XKeyEvent key = event.xkey;
    const KeySym unmodified = XLookupKeysym(&key, 0);
    if (IsModifierKey(unmodified)) {
        flagsChanged(event);
        return;
    }
    // The keysym of the shift level and group that the state selects; the
    // characters Xlib makes for Control are of no use.
    KeySym typed = NoSymbol;
    char characters[16];
    XLookupString(&key, characters, sizeof characters, &typed, nullptr);

    KeyEvent record;
    record.timeStamp = uint32_t(key.time);
    record.modifiers = KeyMap::getKeyModifiers(key.state);
    record.type = type;
    record.key = KeyMap::mapKeyCode(typed);
    if (!record.key) {
        // Ignoring the modifiers leaves Shift in, as on the desktops the
        // key table comes from.
        const KeySym shifted = (key.state & ShiftMask) ? XLookupKeysym(&key, 1) : NoSymbol;
        const KeySym ignoringModifiers = shifted != NoSymbol ? shifted : unmodified;
        record.key = characterOf(record.modifiers == Kv::Modifier::Command ? typed : ignoringModifiers);
    }

    if (isCommandShortcut(record, 'Q')) {
        if (type == KeyEvent::KeyUp)
            windowEvent(WindowEvent::QuitRequested);
        return;
    }
    if (isCommandShortcut(record, 'H')) {
        RootWindowImpl::hideAll();
        return;
    }
    keyEvent(record);
}

void EventRedirector::flagsChanged(const XEvent& event)
{
    const XKeyEvent& key = event.xkey;
    const unsigned int mask = modifierMaskOf(key.display, KeyCode(key.keycode));
    const unsigned int state = event.type == KeyPress ? key.state | mask : key.state & ~mask;

    KeyEvent record;
    record.timeStamp = uint32_t(key.time);
    record.modifiers = KeyMap::getKeyModifiers(state);
    // A modifier newly held is a key down, even while another is let go;
    // every other change is a key up.
    record.type = (record.modifiers & ~lastModifiers & modifierBits) ? KeyEvent::KeyDown : KeyEvent::KeyUp;
    lastModifiers = record.modifiers;
    keyEvent(record);
}

void EventRedirector::keyEvent(const KeyEvent& event)
{
    if (handler_)
        handler_->handleKeyEvent(event);
}

void EventRedirector::handleDragDropEvent(const FileDragDropEvent& event)
{
    if (handler_)
        handler_->handleDragDropEvent(event);
}

uint32_t EventRedirector::characterOf(unsigned long keysym)
{
    // Latin-1 keysyms are their own code points; Unicode keysyms carry theirs
    // under 0x1000000.
    constexpr unsigned long unicodeKeysyms = 0x1000000;
    if ((keysym >= XK_space && keysym <= XK_asciitilde) || (keysym >= XK_nobreakspace && keysym <= XK_ydiaeresis))
        return uint32_t(keysym);
    if ((keysym & 0xFF000000) == unicodeKeysyms)
        return uint32_t(keysym & 0xFFFFFF);
    if (keysym == XK_EuroSign)
        return 0x20AC;
    return 0;
}

void EventRedirector::mouseEvent(const MouseEvent& event) const
{
    if (handler_)
        handler_->handleMouseEvent(event);
}

void EventRedirector::windowEvent(uint32_t type) const
{
    if (!handler_)
        return;
    WindowEvent window;
    window.type = type;
    handler_->handleWindowEvent(window);
}
