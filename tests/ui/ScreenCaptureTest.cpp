#include "MainLoop.h"
#include "RootWindowBase.h"
#include "RootWindowImpl.h"
#include "ScreenGrabber.h"
#include "SystemInfo.h"
#include "X11Application.h"
#include "XvfbServer.h"
#include "OS.h"

#include <gtest/gtest.h>

#include <cstring>
// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

namespace
{
    struct Painter : iEventHandler
    {
        RectDescription fill;
        int paints = 0;

        int handlePaintEvent(const PaintEvent& event) override
        {
            event.renderer->renderMulti(&fill, 1);
            ++paints;
            return 0;
        }
    };

    // B, G, R, A as a host image holds them.
    std::uint32_t pixelAt(const Kv::Ptr<iHostImage>& image, int x, int y)
    {
        Kv::Ptr<iPixelGuard> pixels = image->lock();
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, pixels->getPixels() + std::size_t(y) * pixels->getStride() + std::size_t(x) * 4, 4);
        return pixel;
    }
}

TEST(ScreenCapture, GrabScreenSeesTheWindowsPixelsWhateverTheSizeAsked)
{
    REQUIRE_XVFB(XvfbServer::shared());
    Kv::Ptr<Painter> painter(new Painter);
    painter->fill.rect = {0, 0, 200, 100};
    iRootWindow::InitArgs args;
    args.position = XY<int>(100, 50);
    args.size = XY<int>(200, 100);
    args.title = L"Captured";
    args.handler = painter;
    Kv::Ptr<iRootWindow> window = OS()->windowMgr()->createRootWindow(iImageBase::eHostMemory);
    ASSERT_TRUE(window->realize(args));
    ASSERT_TRUE(runLoopUntil([&] { return painter->paints > 0; }));
    const Kv::Rectangle<int> content = dynamic_cast<const RootWindowBase&>(*window).window()->contentFrame();
    const int x = content.left + content.width() / 2;
    const int y = content.top + content.height() / 2;

    struct Case
    {
        NormalisedRGB colour;
        XY<int> asked;
        std::uint32_t expected;
    };
    const Case cases[] = {
        {NormalisedRGB(1, 0, 0), {1280, 1024}, 0xFFFF0000},
        {NormalisedRGB(0, 1, 0), {0, 0}, 0xFF00FF00},
        {NormalisedRGB(0, 0, 1), {4000, 3000}, 0xFF0000FF},
        {NormalisedRGB(1, 1, 1), {-1, -1}, 0xFFFFFFFF},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "asked " << c.asked.x << "x" << c.asked.y);
        painter->fill.colour = c.colour;
        const int paintsBefore = painter->paints;
        window->requestRepaint(OS()->windowMgr()->createRegion({painter->fill.rect}));
        ASSERT_TRUE(runLoopUntil([&] { return painter->paints > paintsBefore; }));
        XSync(X11Application::instance().display(), False);
        Kv::Ptr<iHostImage> still;
        ASSERT_TRUE(runLoopUntil([&] {
            still = OS()->mediaServices()->grabScreen(c.asked);
            return still && pixelAt(still, x, y) == c.expected;
        })) << std::hex << (still ? pixelAt(still, x, y) : 0);
        EXPECT_EQ(still->getSize(), XY<int>(1280, 1024));
        EXPECT_EQ(still->getBitsPerPixel(), 32u);
        EXPECT_EQ(pixelAt(still, 0, 0) >> 24, 0xFFu) << "the desktop around the window is opaque too";
    }
}

TEST(ScreenCapture, RecordingIsNotOfferedAndNoDisplayGivesNoStill)
{
    LightweightString<wchar_t> path(L"/tmp/capture.mov");
    EXPECT_FALSE(OS()->mediaServices()->beginScreenCapture(path, "mov"));
    OS()->mediaServices()->endScreenCapture("mov");
    EXPECT_EQ(ScreenGrabber().grab(nullptr), nullptr);
}

TEST(ScreenCapture, AGrabberFollowsTheDisplayItIsGiven)
{
    XvfbServer small("640x480x24");
    REQUIRE_XVFB(XvfbServer::shared());
    REQUIRE_XVFB(small);
    Display* other = XOpenDisplay(small.displayName().c_str());
    ASSERT_NE(other, nullptr);
    struct Case
    {
        Display* display;
        int width;
        int height;
    };
    const Case cases[] = {
        {X11Application::instance().display(), 1280, 1024},
        {other, 640, 480},
        {X11Application::instance().display(), 1280, 1024},
    };
    {
        ScreenGrabber grabber;
        for (const Case& c : cases) {
            cairo_surface_t* still = grabber.grab(c.display);
            ASSERT_NE(still, nullptr);
            EXPECT_EQ(cairo_image_surface_get_width(still), c.width);
            EXPECT_EQ(cairo_image_surface_get_height(still), c.height);
            cairo_surface_destroy(still);
        }
    }
    XCloseDisplay(other);
}

TEST(ScreenCapture, MonitorsOfTheServerStartAtThePrimary)
{
    XvfbServer& server = XvfbServer::shared();
    REQUIRE_XVFB(server);
    Display* display = X11Application::instance().display();
    std::vector<iSystemInfo::MonitorInfo> monitors;
    OS()->systemInfo()->getMonitorInfo(monitors);
    ASSERT_EQ(monitors.size(), 1u);
    const iSystemInfo::MonitorInfo& monitor = monitors[0];
    EXPECT_EQ(monitor.bounds, (Kv::Rectangle<std::int32_t>{0, 0, 1280, 1024}));
    EXPECT_EQ(monitor.workArea, monitor.bounds);
    EXPECT_TRUE(monitor.isPrimary);
    EXPECT_EQ(monitor.scale, 1.0f);
    int count = 0;
    XRRMonitorInfo* reported = XRRGetMonitors(display, DefaultRootWindow(display), True, &count);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(monitor.dpi, SystemInfo::dotsPerInch(1280, reported[0].mwidth));
    EXPECT_GT(monitor.dpi, 0);
    XRRFreeMonitors(reported);
    EXPECT_TRUE(monitor.name.empty());
    EXPECT_EQ(OS()->systemInfo()->getUserUIScale(), 1.0f);
}
