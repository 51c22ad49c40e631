#include "EventRedirector.h"
#include "RootWindowImpl.h"
#include "XTextInput.h"

#include "XvfbServer.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>
// Last: Xlib's macros would clash with gtest's names.
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace
{
    struct MouseRecord
    {
        uint32_t type;
        uint32_t buttons;
        int32_t wheelDelta;
        bool operator==(const MouseRecord&) const = default;
    };

    struct KeyRecord
    {
        uint32_t key;
        uint32_t modifiers;
        int32_t type;
        std::wstring text;
        bool operator==(const KeyRecord&) const = default;
    };

    std::ostream& operator<<(std::ostream& out, const MouseRecord& mouse)
    {
        return out << "{type " << mouse.type << ", buttons " << mouse.buttons << ", wheel " << mouse.wheelDelta << "}";
    }

    std::ostream& operator<<(std::ostream& out, const KeyRecord& key)
    {
        return out << std::hex << "{key 0x" << key.key << ", modifiers 0x" << key.modifiers << std::dec << ", type "
                   << key.type << ", " << key.text.size() << " characters}";
    }

    class Recorder : public iEventHandler
    {
    public:
        int handleMouseEvent(const MouseEvent& event) override
        {
            mice.push_back({event.type, event.buttons, event.wheelDelta});
            lastPosition = event.position;
            lastTimeStamp = event.timeStamp;
            return 0;
        }
        int handleKeyEvent(const KeyEvent& event) override
        {
            keys.push_back({event.key, event.modifiers, event.type, std::wstring(event.text.c_str())});
            return 0;
        }
        int handleWindowEvent(const WindowEvent& event) override
        {
            windowEvents.push_back(event.type);
            return 0;
        }

        std::vector<MouseRecord> mice;
        std::vector<KeyRecord> keys;
        std::vector<uint32_t> windowEvents;
        XY<int> lastPosition;
        uint32_t lastTimeStamp = 0;
    };

    struct Redirected
    {
        Redirected() { redirector.setHandler(Kv::Ptr<iEventHandler>(recorder)); }

        Kv::Ptr<Recorder> recorder{new Recorder};
        EventRedirector redirector;
    };

    XEvent pointerEvent(int type, unsigned int button, unsigned int state)
    {
        XEvent event{};
        event.type = type;
        if (type == MotionNotify) {
            event.xmotion.state = state;
            return event;
        }
        event.xbutton.button = button;
        event.xbutton.state = state;
        return event;
    }

    using DisplayHandle = std::unique_ptr<Display, decltype(&XCloseDisplay)>;

    DisplayHandle openTestDisplay()
    {
        return DisplayHandle(XOpenDisplay(XvfbServer::shared().displayName().c_str()), XCloseDisplay);
    }

    XEvent keyEvent(Display* display, int type, KeySym keysym, unsigned int state)
    {
        XEvent event{};
        event.xkey.type = type;
        event.xkey.display = display;
        event.xkey.keycode = XKeysymToKeycode(display, keysym);
        event.xkey.state = state;
        return event;
    }

    const uint32_t command = Kv::Modifier::Command;
    const uint32_t shift = Kv::Modifier::Shift;
    const uint32_t control = Kv::Modifier::Control;
}

TEST(EventRedirector, ButtonsMotionAndWheelGiveMouseEventsOfTheirTypes)
{
    const std::optional<MouseRecord> nothing;
    const struct
    {
        const char* what;
        int type;
        unsigned int button;
        unsigned int state;
        std::optional<MouseRecord> expected;
    } cases[] = {
        {"left press counts the left button", ButtonPress, 1, 0, MouseRecord{2, 2, 0}},
        {"left release", ButtonRelease, 1, Button1Mask, MouseRecord{1, 0, 0}},
        {"right press with the left held", ButtonPress, 3, Button1Mask, MouseRecord{4, 3, 0}},
        {"right release", ButtonRelease, 3, Button3Mask, MouseRecord{3, 0, 0}},
        {"middle press", ButtonPress, 2, 0, MouseRecord{6, 0, 0}},
        {"middle release", ButtonRelease, 2, Button2Mask, MouseRecord{5, 0, 0}},
        {"back press", ButtonPress, 8, 0, MouseRecord{6, 0, 0}},
        {"forward release", ButtonRelease, 9, 0, MouseRecord{5, 0, 0}},
        {"button 10", ButtonPress, 10, 0, nothing},
        {"wheel up", ButtonPress, 4, 0, MouseRecord{7, 0, 1}},
        {"wheel down", ButtonPress, 5, Button1Mask, MouseRecord{7, 2, -1}},
        {"wheel release", ButtonRelease, 5, Button5Mask, nothing},
        {"wheel left with Shift", ButtonPress, 6, ShiftMask, MouseRecord{7, 0, 1}},
        {"wheel right with Shift, also +1", ButtonPress, 7, ShiftMask | Mod2Mask, MouseRecord{7, 0, 1}},
        {"wheel left alone", ButtonPress, 6, 0, nothing},
        {"wheel right with Shift and Control", ButtonPress, 7, ShiftMask | ControlMask, nothing},
        {"motion with the left held", MotionNotify, 0, Button1Mask, MouseRecord{8, 2, 0}},
        {"motion with both held", MotionNotify, 0, Button1Mask | Button3Mask, MouseRecord{8, 3, 0}},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.what);
        Redirected view;
        XEvent event = pointerEvent(entry.type, entry.button, entry.state);
        // Button and motion events put the position and time in one place.
        event.xbutton.x = 17;
        event.xbutton.y = 23;
        event.xbutton.time = 0x10000002AUL;
        view.redirector.dispatch(event);
        if (!entry.expected) {
            EXPECT_TRUE(view.recorder->mice.empty()) << view.recorder->mice.front();
            continue;
        }
        ASSERT_EQ(view.recorder->mice.size(), 1u);
        EXPECT_EQ(view.recorder->mice.front(), *entry.expected);
        EXPECT_EQ(view.recorder->lastPosition, XY<int>(17, 23));
        EXPECT_EQ(view.recorder->lastTimeStamp, 42u);
    }
}

TEST(EventRedirector, SuperClickIsARightClickUntilTheLeftButtonGoesUpInAnyView)
{
    Redirected first;
    Redirected second;
    second.redirector.setHandler(Kv::Ptr<iEventHandler>(first.recorder));

    first.redirector.dispatch(pointerEvent(ButtonPress, 1, Mod4Mask));
    second.redirector.dispatch(pointerEvent(MotionNotify, 0, Button1Mask | Mod4Mask));
    // Letting go of Super does not end the gesture.
    second.redirector.dispatch(pointerEvent(MotionNotify, 0, Button1Mask));
    second.redirector.dispatch(pointerEvent(ButtonRelease, 1, Button1Mask));
    first.redirector.dispatch(pointerEvent(ButtonPress, 1, 0));
    first.redirector.dispatch(pointerEvent(MotionNotify, 0, Button1Mask));
    first.redirector.dispatch(pointerEvent(ButtonRelease, 1, Button1Mask));

    const std::vector<MouseRecord> expected = {{4, 1, 0}, {8, 1, 0}, {8, 1, 0}, {3, 0, 0},
                                               {2, 2, 0}, {8, 2, 0}, {1, 0, 0}};
    EXPECT_EQ(first.recorder->mice, expected);
}

TEST(EventRedirector, EnteringAViewGivesItsTopLevelWindowTheKeyboard)
{
    REQUIRE_XVFB(XvfbServer::shared());
    const DisplayHandle display = openTestDisplay();
    ASSERT_TRUE(display);
    Display* const connection = display.get();
    const Window topLevel = XCreateSimpleWindow(connection, DefaultRootWindow(connection), 0, 0, 200, 200, 0, 0, 0);
    const Window view = XCreateSimpleWindow(connection, topLevel, 10, 10, 100, 100, 0, 0, 0);
    const Window child = XCreateSimpleWindow(connection, view, 10, 10, 50, 50, 0, 0, 0);
    XMapSubwindows(connection, view);
    XMapSubwindows(connection, topLevel);
    XMapWindow(connection, topLevel);
    XSetInputFocus(connection, PointerRoot, RevertToParent, CurrentTime);
    XSync(connection, False);

    auto crossing = [&](int type, Window window, int detail) {
        XEvent event{};
        event.xcrossing.type = type;
        event.xcrossing.display = connection;
        event.xcrossing.window = window;
        event.xcrossing.detail = detail;
        event.xcrossing.time = CurrentTime;
        return event;
    };
    Redirected redirected;
    redirected.redirector.dispatch(crossing(EnterNotify, view, NotifyAncestor));
    Window focus = None;
    int revertTo = 0;
    XGetInputFocus(connection, &focus, &revertTo);
    EXPECT_EQ(focus, topLevel);
    // Into a child view and back out of it: the pointer stays in the view.
    redirected.redirector.dispatch(crossing(LeaveNotify, view, NotifyInferior));
    redirected.redirector.dispatch(crossing(EnterNotify, view, NotifyInferior));
    redirected.redirector.dispatch(crossing(LeaveNotify, view, NotifyAncestor));
    // A window gone before its Enter event is read.
    XDestroyWindow(connection, child);
    XSync(connection, False);
    redirected.redirector.dispatch(crossing(EnterNotify, child, NotifyAncestor));

    EXPECT_EQ(redirected.recorder->windowEvents, (std::vector<uint32_t>{5, 6, 5}));
    XDestroyWindow(connection, topLevel);
}

TEST(EventRedirector, KeysMapToKeyCodesAndTheQuitKeyAsksToQuit)
{
    REQUIRE_XVFB(XvfbServer::shared());
    const DisplayHandle display = openTestDisplay();
    ASSERT_TRUE(display);
    const std::optional<KeyRecord> nothing;
    const struct
    {
        const char* what;
        KeySym keysym;
        unsigned int state;
        KeyEvent::eType type;
        std::optional<KeyRecord> expected;
        std::vector<uint32_t> windowEvents;
    } cases[] = {
        {"F12", XK_F12, 0, KeyEvent::KeyDown, KeyRecord{0x8000046, 0, 1, L""}, {}},
        {"Return up", XK_Return, 0, KeyEvent::KeyUp, KeyRecord{13, 0, 0, L""}, {}},
        {"keypad 5 with Num Lock", XK_KP_5, Mod2Mask, KeyEvent::KeyDown, KeyRecord{0x80000035, 0, 1, L""}, {}},
        {"Shift Tab", XK_Tab, ShiftMask, KeyEvent::KeyDown, KeyRecord{9, shift, 1, L""}, {}},
        {"Control W", XK_w, ControlMask, KeyEvent::KeyDown, KeyRecord{'w', command, 1, L""}, {}},
        {"Super Shift A keeps the Shift", XK_a, Mod4Mask | ShiftMask, KeyEvent::KeyDown,
         KeyRecord{'A', control | shift, 1, L""}, {}},
        {"Control Shift Q is an ordinary key", XK_q, ControlMask | ShiftMask, KeyEvent::KeyUp,
         KeyRecord{'Q', command | shift, 0, L""}, {}},
        {"Control Q down", XK_q, ControlMask, KeyEvent::KeyDown, nothing, {}},
        {"Control Q up", XK_q, ControlMask, KeyEvent::KeyUp, nothing, {WindowEvent::QuitRequested}},
        {"Control H", XK_h, ControlMask, KeyEvent::KeyDown, nothing, {}},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.what);
        Redirected view;
        view.redirector.handleKeyEvent(
            keyEvent(display.get(), entry.type == KeyEvent::KeyDown ? KeyPress : KeyRelease, entry.keysym, entry.state),
            entry.type);
        const std::vector<KeyRecord> expected =
            entry.expected ? std::vector<KeyRecord>{*entry.expected} : std::vector<KeyRecord>{};
        EXPECT_EQ(view.recorder->keys, expected);
        EXPECT_EQ(view.recorder->windowEvents, entry.windowEvents);
    }
}

TEST(EventRedirector, ModifierKeysGiveKeyDownWhenOneMoreIsHeldAndKeyUpOtherwise)
{
    REQUIRE_XVFB(XvfbServer::shared());
    const DisplayHandle display = openTestDisplay();
    ASSERT_TRUE(display);
    const struct
    {
        int type;
        KeySym keysym;
        unsigned int state;
    } presses[] = {
        // Nothing held at the start, whatever came before.
        {KeyRelease, XK_Shift_L, ShiftMask},
        {KeyPress, XK_Control_L, 0},
        {KeyPress, XK_Shift_R, ControlMask},
        {KeyRelease, XK_Shift_R, ControlMask | ShiftMask},
        {KeyPress, XK_Super_L, ControlMask},
        {KeyRelease, XK_Control_L, ControlMask | Mod4Mask},
        {KeyRelease, XK_Super_L, Mod4Mask},
    };
    Redirected view;
    XTextInput input(0, view.redirector);
    for (const auto& press : presses)
        input.dispatch(keyEvent(display.get(), press.type, press.keysym, press.state));

    const std::vector<KeyRecord> expected = {
        {0, 0, 0, L""},
        {0, command, 1, L""},
        {0, command | shift, 1, L""},
        {0, command, 0, L""},
        {0, command | control, 1, L""},
        {0, control, 0, L""},
        {0, 0, 0, L""},
    };
    EXPECT_EQ(view.recorder->keys, expected);
}
