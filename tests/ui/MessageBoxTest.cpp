#include "RootWindowBase.h"
#include "X11Application.h"
#include "XvfbServer.h"
#include "iOperatingSystem.h"
#include "iShell.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <vector>
// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace
{
    int ignoreError(Display*, XErrorEvent*) { return 0; }

    // As a user would: the pointer into the box, then the keys, through a
    // connection of the typist's own.
    void typeOn(Window box, Kv::Rectangle<int> frame, const std::vector<KeySym>& keys)
    {
        Display* devices = XOpenDisplay(nullptr);
        if (!devices)
            return;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        XWindowAttributes attributes = {};
        const XErrorHandler previous = XSetErrorHandler(ignoreError);
        while (std::chrono::steady_clock::now() < deadline &&
               (!XGetWindowAttributes(devices, box, &attributes) || attributes.map_state != IsViewable))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        XSetErrorHandler(previous);
        // Entering the box gives it the keyboard.
        XTestFakeMotionEvent(devices, -1, (frame.left + frame.right) / 2, (frame.top + frame.bottom) / 2, CurrentTime);
        Window focus = None;
        int revert = 0;
        do {
            XSync(devices, False);
            XGetInputFocus(devices, &focus, &revert);
        } while (focus != box && std::chrono::steady_clock::now() < deadline);
        for (const KeySym keysym : keys) {
            XTestFakeKeyEvent(devices, XKeysymToKeycode(devices, keysym), True, CurrentTime);
            XTestFakeKeyEvent(devices, XKeysymToKeycode(devices, keysym), False, CurrentTime);
            XSync(devices, False);
        }
        XCloseDisplay(devices);
    }

    // Shows a box and answers it with the keys. A box that the keys do not
    // answer is closed after a while, and gives 0.
    int answer(iShell::eMessageButtons buttons, const std::vector<KeySym>& keys)
    {
        std::thread typist;
        std::promise<void> answered;
        X11Application::instance().post([&] {
            RootWindowImpl* box = RootWindowBase::active()->window();
            typist = std::thread([&, window = box->window(), frame = box->contentFrame()] {
                typeOn(window, frame, keys);
                if (answered.get_future().wait_for(std::chrono::seconds(5)) == std::future_status::timeout)
                    X11Application::instance().post([] { X11Application::instance().stop(); });
            });
        });
        const int result =
            OS()->shell()->messageBox(L"Dropped", L"Shall the render go on? It has been running for an hour.",
                                      buttons, iShell::eWarning);
        answered.set_value();
        if (typist.joinable())
            typist.join();
        return result;
    }
}

TEST(MessageBox, EachLayoutAnswersWithItsButtonsResults)
{
    REQUIRE_XVFB(XvfbServer::shared());
    struct Case
    {
        iShell::eMessageButtons buttons;
        std::vector<KeySym> keys;
        int expected;
    };
    const Case cases[] = {
        {iShell::eNo, {XK_Return}, iShell::eResultNo},
        {iShell::eOk, {XK_space}, iShell::eResultOk},
        {iShell::eOk, {XK_Escape}, iShell::eNothingChosen},
        {iShell::eYesNo, {XK_Return}, iShell::eResultYes},
        {iShell::eYesNo, {XK_Tab, XK_Return}, iShell::eResultNo},
        {iShell::eOkCancel, {XK_KP_Enter}, iShell::eResultOk},
        {iShell::eOkCancel, {XK_Escape}, iShell::eResultCancel},
        {iShell::eNoYes, {XK_Return}, iShell::eResultNo},
        {iShell::eNoYes, {XK_Left, XK_Return}, iShell::eResultYes},
        {iShell::eCancelOk, {XK_Return}, iShell::eResultCancel},
        {iShell::eCancelOk, {XK_Tab, XK_Tab, XK_Right, XK_Return}, iShell::eResultOk},
        {iShell::eMessageButtons(6), {XK_Return}, iShell::eNothingChosen},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "buttons " << c.buttons << ", " << c.keys.size() << " keys");
        EXPECT_EQ(answer(c.buttons, c.keys), c.expected);
    }
}
