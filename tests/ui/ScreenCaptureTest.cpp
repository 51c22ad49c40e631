#include "MainLoop.h"
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
    // The whole window in its colour.
    struct Filled : iStatusWindow::iContents
    {
        NormalisedRGB colour;
        XY<int> painted;
        int paints = 0;

        void paint(iGraphicPrimitivesRenderer& renderer, const XY<int>& size) override
        {
            RectDescription fill;
            fill.rect = {0, 0, size.x, size.y};
            fill.colour = colour;
            renderer.renderMulti(&fill, 1);
            painted = size;
            ++paints;
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

// A status window at (300, 300), painted by its contents at each update.
TEST(ScreenCapture, GrabScreenSeesAStatusWindowsContentsWhateverTheSizeAsked)
{
    REQUIRE_XVFB(XvfbServer::shared());
    const Kv::Ptr<Filled> contents(new Filled);
    const Kv::Ptr<iStatusWindow> status = OS()->windowMgr()->createStatusWindow(
        Kv::Ptr<iStatusWindow::iContents>(contents), XY<int>(120, 40), XY<int>(300, 300));
    ASSERT_TRUE(status);
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
        contents->colour = c.colour;
        const int paintsBefore = contents->paints;
        status->update();
        ASSERT_TRUE(runLoopUntil([&] { return contents->paints > paintsBefore; }));
        EXPECT_EQ(contents->painted, XY<int>(120, 40));
        XSync(X11Application::instance().display(), False);
        Kv::Ptr<iHostImage> still;
        ASSERT_TRUE(runLoopUntil([&] {
            still = OS()->mediaServices()->grabScreen(c.asked);
            return still && pixelAt(still, 360, 320) == c.expected;
        })) << std::hex << (still ? pixelAt(still, 360, 320) : 0);
        EXPECT_EQ(still->getSize(), XY<int>(1280, 1024));
        EXPECT_EQ(still->getBitsPerPixel(), 32u);
        EXPECT_EQ(pixelAt(still, 0, 0) >> 24, 0xFFu) << "the desktop around the window is opaque too";
    }
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
        EXPECT_EQ(grabber.grab(nullptr), nullptr);
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
    int count = 0;
    XRRMonitorInfo* reported = XRRGetMonitors(display, DefaultRootWindow(display), True, &count);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(monitor.dpi, SystemInfo::dotsPerInch(1280, reported[0].mwidth));
    EXPECT_GT(monitor.dpi, 0);
    XRRFreeMonitors(reported);
}
