#include "MainLoop.h"
#include "QtUtils.h"
#include "Region.h"
#include "RootWindow.h"
#include "WindowManager.h"
#include "WindowPosition.h"
#include "X11Application.h"
#include "XvfbServer.h"
#include "iOperatingSystem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>
// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace
{
    struct Recorder : iEventHandler
    {
        std::vector<MouseEvent> mouseEvents;
        std::vector<std::pair<uint32_t, std::wstring>> keys;
        std::vector<uint32_t> windowEvents;
        std::vector<Kv::Rectangle<int>> paints;
        std::atomic<int> userEvents = 0;
        int32_t userAnswer = 0;
        RectDescription fill;

        int handleMouseEvent(const MouseEvent& event) override
        {
            if (event.type != MouseEvent::Move)
                mouseEvents.push_back(event);
            return 0;
        }
        int handleKeyEvent(const KeyEvent& event) override
        {
            keys.emplace_back(event.key, event.text.c_str());
            return 0;
        }
        long windowEventsOf(uint32_t type) const { return std::count(windowEvents.begin(), windowEvents.end(), type); }
        bool hasWindowEvent(uint32_t type) const { return windowEventsOf(type) > 0; }
        int handleWindowEvent(const WindowEvent& event) override
        {
            windowEvents.push_back(event.type);
            return 0;
        }
        int handlePaintEvent(const PaintEvent& event) override
        {
            paints.push_back(event.region->getBounds());
            event.renderer->renderMulti(&fill, 1);
            return 0;
        }
        int32_t handleUserEvent(const UserEvent&) override
        {
            ++userEvents;
            return userAnswer;
        }
    };

    iRootWindow::InitArgs argsAt(int x, int y, int width, int height, const Kv::Ptr<iEventHandler>& handler = {})
    {
        iRootWindow::InitArgs args;
        args.position = XY<int>(x, y);
        args.size = XY<int>(width, height);
        args.buttons = 7;
        args.resizable = 1;
        args.title = L"Test window";
        args.handler = handler;
        return args;
    }

    Kv::Ptr<iRootWindow> realized(const iRootWindow::InitArgs& args)
    {
        Kv::Ptr<iRootWindow> window = OS()->windowMgr()->createRootWindow(iImageBase::eHostMemory);
        EXPECT_TRUE(window->realize(args));
        return window;
    }

    // Where the server shows the window's content, from a connection of the test's own.
    Kv::Rectangle<int> contentOnScreen(const iRootWindow& window)
    {
        auto& base = dynamic_cast<const RootWindowBase&>(window);
        return base.window()->contentFrame();
    }

    uint32_t pixelAt(Window window, int x, int y)
    {
        XImage* image = XGetImage(X11Application::instance().display(), window, x, y, 1, 1, AllPlanes, ZPixmap);
        const uint32_t pixel = *reinterpret_cast<uint32_t*>(image->data) & 0xFFFFFF;
        XFree(image->data);
        XFree(image);
        return pixel;
    }

    uint32_t pixelAt(const iRootWindow& window, int x, int y)
    {
        return pixelAt(dynamic_cast<const RootWindowBase&>(window).view()->window(), x, y);
    }
}

TEST(RootWindow, PlacementFitsTheScreenOfTheWindowsCornerOrFillsItsUsableArea)
{
    // A primary screen with a panel of 30 at the top, and one on its right.
    const std::vector<PhysicalScreen> screens = {
        PhysicalScreen({0, 0, 1280, 1024}, {0, 30, 1280, 1024}),
        PhysicalScreen({1280, 0, 2560, 1024}, {1280, 0, 2560, 1024}),
    };
    struct Case
    {
        const char* name;
        int x, y, width, height;
        bool fullScreen, onTop;
        Kv::Rectangle<int> expected;
    };
    const Case cases[] = {
        {"fits", 100, 50, 400, 300, false, false, {100, 50, 500, 350}},
        {"on the second screen", 1400, 100, 400, 300, false, false, {1400, 100, 1800, 400}},
        {"one pixel taller than the usable area", 0, 0, 400, 995, false, false, {0, 30, 1280, 1024}},
        {"top under the panel", 100, 10, 400, 300, false, false, {0, 30, 1280, 1024}},
        {"on no screen", 5000, 5000, 400, 300, false, false, {0, 30, 1280, 1024}},
        {"width 0", 100, 50, 0, 300, false, false, {0, 30, 1280, 1024}},
        {"full screen", 100, 50, 400, 300, true, false, {0, 30, 1280, 1024}},
        {"full screen on top", 1400, 100, 400, 300, true, true, {1280, 0, 2560, 1024}},
        {"bottom edge on the screen's last row", 0, 724, 400, 300, false, false, {0, 724, 400, 1024}},
        {"bottom edge past the screen", 0, 725, 400, 300, false, false, {0, 30, 1280, 1024}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        iRootWindow::InitArgs args = argsAt(c.x, c.y, c.width, c.height);
        args.fullScreen = c.fullScreen;
        args.onTop = c.onTop;
        EXPECT_EQ(WindowPosition::getPositionForWindow(screens, args).frame(), c.expected);
    }
}

TEST(RootWindow, OpensWhereAskedAndPaintsOnceForAllRequests)
{
    REQUIRE_XVFB(XvfbServer::shared());
    Kv::Ptr<Recorder> recorder(new Recorder);
    recorder->fill.rect = {0, 0, 400, 300};
    recorder->fill.colour = NormalisedRGB(1, 0, 0);
    Kv::Ptr<iRootWindow> window = realized(argsAt(100, 50, 400, 300, Kv::Ptr<iEventHandler>(recorder)));
    ASSERT_TRUE(runLoopUntil([&] { return !recorder->paints.empty(); }));
    EXPECT_EQ(contentOnScreen(*window), (Kv::Rectangle<int>{100, 50, 500, 350}));
    EXPECT_EQ(window->getSize(), XY<int>(400, 300));
    ASSERT_GE(recorder->windowEvents.size(), 2u);
    EXPECT_EQ(recorder->windowEvents[0], 3u);
    EXPECT_EQ(recorder->windowEvents[1], 7u);
    EXPECT_EQ(pixelAt(*window, 200, 150), 0xFF0000u);

    recorder->paints.clear();
    recorder->fill.colour = NormalisedRGB(0, 0, 1);
    window->requestRepaint(Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{10, 10, 20, 20})));
    window->requestRepaint(Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{50, 40, 60, 70})));
    window->requestRepaint(Kv::Ptr<iRegion>());
    runLoopFor(100);
    ASSERT_EQ(recorder->paints.size(), 1u);
    EXPECT_EQ(recorder->paints[0], (Kv::Rectangle<int>{10, 10, 60, 70}));
    // Inside the requests the handler's blue; outside them what was there.
    EXPECT_EQ(pixelAt(*window, 15, 15), 0x0000FFu);
    EXPECT_EQ(pixelAt(*window, 55, 65), 0x0000FFu);
    EXPECT_EQ(pixelAt(*window, 200, 150), 0xFF0000u);
}

TEST(RootWindow, UserMessagesCrossThreadsAndAnAnswerOfOneStopsTheLoop)
{
    REQUIRE_XVFB(XvfbServer::shared());
    Kv::Ptr<Recorder> recorder(new Recorder);
    Kv::Ptr<iRootWindow> window = realized(argsAt(0, 0, 200, 100, Kv::Ptr<iEventHandler>(recorder)));
    std::thread poster([&] {
        for (int i = 0; i < 5; ++i)
            window->postUserMessage();
    });
    poster.join();
    runLoopFor(100);
    EXPECT_EQ(recorder->userEvents, 5);

    recorder->userAnswer = 1;
    std::thread stopper([&] { window->postUserMessage(); });
    X11Application::instance().run(); // returns only through the answer
    stopper.join();
    EXPECT_EQ(recorder->userEvents, 6);

    // After the window is gone a message is dropped.
    window->postUserMessage();
    window = {};
    runLoopFor(50);
    EXPECT_EQ(recorder->userEvents, 6);
}

TEST(RootWindow, UnderAWindowManagerOversizedWindowsFillTheScreenAndCloseOnlyAsks)
{
    XvfbServer& server = XvfbServer::shared();
    REQUIRE_XVFB(server);
    ASSERT_TRUE(server.startWindowManager()) << "openbox does not start";
    Kv::Ptr<Recorder> recorder(new Recorder);
    Kv::Ptr<iRootWindow> placed = realized(argsAt(100, 80, 400, 300, Kv::Ptr<iEventHandler>(recorder)));
    Kv::Ptr<iRootWindow> oversized = realized(argsAt(0, 0, 3000, 3000));
    auto& placedBase = dynamic_cast<RootWindowBase&>(*placed);
    auto& oversizedBase = dynamic_cast<RootWindowBase&>(*oversized);
    EXPECT_TRUE(runLoopUntil([&] {
        return placedBase.window()->outerFrame() == Kv::Rectangle<int>{100, 80, 500, 380} &&
               oversizedBase.window()->outerFrame() == Kv::Rectangle<int>{0, 0, 1280, 1024};
    })) << "placed at " << placedBase.window()->outerFrame().left << "," << placedBase.window()->outerFrame().top
        << " oversized " << oversizedBase.window()->outerFrame().right << "x"
        << oversizedBase.window()->outerFrame().bottom;
    EXPECT_TRUE(placed->isTitleBarEnabled());
    EXPECT_LT(placed->getSize().y, 300) << "the title bar comes out of the frame";

    // The close button asks the handler; the window stays.
    Display* display = X11Application::instance().display();
    XEvent close{};
    close.xclient.type = ClientMessage;
    close.xclient.window = placedBase.window()->window();
    close.xclient.message_type = X11Application::instance().atom("WM_PROTOCOLS");
    close.xclient.format = 32;
    close.xclient.data.l[0] = long(X11Application::instance().atom("WM_DELETE_WINDOW"));
    XSendEvent(display, close.xclient.window, False, NoEventMask, &close);
    EXPECT_TRUE(runLoopUntil([&] { return recorder->hasWindowEvent(4); }));
    // The presentation style covers the panels while it is on.
    QtUtils::setPresentationStyle(QtUtils::ePresentationFullScreen);
    EXPECT_EQ(QtUtils::getPresentationStyle(), 1);
    EXPECT_TRUE(runLoopUntil([&] { return contentOnScreen(*placed) == Kv::Rectangle<int>{0, 0, 1280, 1024}; }));
    QtUtils::setPresentationStyle(QtUtils::ePresentationOff);
    EXPECT_EQ(QtUtils::getPresentationStyle(), 0);
    EXPECT_TRUE(runLoopUntil([&] { return placedBase.window()->outerFrame() == Kv::Rectangle<int>{100, 80, 500, 380}; }));

    placed->minimise();
    EXPECT_TRUE(runLoopUntil([&] { return placed->isMinimised(); }));
}

// Run alone, as ctest runs each test: the process's connection must not be open yet.
TEST(RootWindow, WithoutADisplayRealizeFailsWithALogLine)
{
    if (X11Application::instance().display())
        GTEST_SKIP() << "this process opened its X connection before";
    testing::internal::CaptureStdout();
    Kv::Ptr<iRootWindow> window = OS()->windowMgr()->createRootWindow(iImageBase::eHostMemory);
    EXPECT_FALSE(window->realize(argsAt(0, 0, 100, 100)));
    EXPECT_FALSE(OS()->windowMgr()->createStatusWindow({}, XY<int>(10, 10), XY<int>(0, 0)));
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_NE(output.find("Cannot make a window without an X display"), std::string::npos) << output;
    window->requestRepaint(Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{0, 0, 10, 10})));
    window->postUserMessage();
    EXPECT_EQ(window->getSize(), XY<int>(0, 0));
}

// Through the input method's context and without it.
TEST(RootWindow, PointerAndKeysFromXTestReachTheHandlerWithTheirText)
{
    REQUIRE_XVFB(XvfbServer::shared());
    Kv::Ptr<Recorder> recorder(new Recorder);
    Kv::Ptr<iRootWindow> window = realized(argsAt(200, 100, 300, 200, Kv::Ptr<iEventHandler>(recorder)));
    ASSERT_TRUE(runLoopUntil([&] { return !recorder->paints.empty(); }));

    // XTest acts through a connection of its own, as a user's devices would.
    Display* devices = XOpenDisplay(nullptr);
    ASSERT_NE(devices, nullptr);
    XTestFakeMotionEvent(devices, -1, 250, 130, CurrentTime);
    XTestFakeButtonEvent(devices, 1, True, CurrentTime);
    XTestFakeButtonEvent(devices, 1, False, CurrentTime);
    XTestFakeButtonEvent(devices, 5, True, CurrentTime);
    XTestFakeButtonEvent(devices, 5, False, CurrentTime);
    const auto key = [&](KeySym keysym, Bool down) {
        XTestFakeKeyEvent(devices, XKeysymToKeycode(devices, keysym), down, CurrentTime);
    };
    for (const bool composing : {true, false}) {
        SCOPED_TRACE(composing ? "through the input context" : "composition off");
        dynamic_cast<RootWindowBase&>(*window).setIMEEnabled(composing);
        recorder->keys.clear();
        const long quits = recorder->windowEventsOf(4);
        for (const KeySym keysym : {XK_a, XK_F12}) {
            key(keysym, True);
            key(keysym, False);
        }
        key(XK_Control_L, True);
        key(XK_q, True);
        key(XK_q, False);
        key(XK_Control_L, False);
        XSync(devices, False);
        EXPECT_TRUE(runLoopUntil([&] { return recorder->windowEventsOf(4) > quits; }));
        // The Control key's own press and release go round the quit key.
        const std::vector<std::pair<uint32_t, std::wstring>> expected = {
            {'a', L"a"}, {'a', L""}, {Kv::Key::F1 + 11, L""}, {Kv::Key::F1 + 11, L""}, {0, L""}, {0, L""}};
        EXPECT_EQ(recorder->keys, expected);
    }
    XCloseDisplay(devices);

    EXPECT_TRUE(recorder->hasWindowEvent(5)) << "entering gives the window the keyboard";
    ASSERT_EQ(recorder->mouseEvents.size(), 3u);
    EXPECT_EQ(recorder->mouseEvents[0].type, uint32_t(MouseEvent::LeftDown));
    EXPECT_EQ(recorder->mouseEvents[0].position, XY<int>(50, 30));
    EXPECT_EQ(recorder->mouseEvents[1].type, uint32_t(MouseEvent::LeftUp));
    EXPECT_EQ(recorder->mouseEvents[2].type, uint32_t(MouseEvent::Wheel));
    EXPECT_EQ(recorder->mouseEvents[2].wheelDelta, -1);
}
