#include "MouseCursor.h"

#include "CairoImage.h"
#include "OS.h"
#include "X11Application.h"
#include "XvfbServer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>
// Last: Xlib's macros would clash with gtest's names.
#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>

namespace
{
    // What the server shows for the pointer: size, hot spot and ARGB pixels.
    struct Shown
    {
        int width = 0;
        int height = 0;
        int xhot = 0;
        int yhot = 0;
        std::vector<std::uint32_t> pixels;

        bool operator==(const Shown&) const = default;
    };

    Shown shownAfterSetting(Kv::Ptr<iMouseCursor> cursor)
    {
        OS()->windowMgr()->setMouseCursor(cursor);
        Display* display = X11Application::instance().display();
        XFixesCursorImage* image = XFixesGetCursorImage(display);
        Shown shown;
        if (!image)
            return shown;
        // Xlib widens each 32-bit pixel to a long with its sign: the top bits are noise.
        shown = {image->width, image->height, image->xhot, image->yhot,
                 std::vector<std::uint32_t>(image->pixels, image->pixels + image->width * image->height)};
        XFree(image);
        return shown;
    }

    // Every pixel B, G, R, A as given, alpha not premultiplied.
    Kv::Ptr<iHostImage> filledImage(const XY<int>& size, const unsigned char (&bgra)[4])
    {
        Kv::Ptr<CairoImage> image = CairoImage::create(size);
        const Kv::Ptr<iPixelGuard> pixels = image->lock();
        for (int i = 0; i < size.x * size.y; ++i)
            std::memcpy(pixels->getPixels() + i * 4, bgra, 4);
        return image;
    }
}

TEST(MouseCursor, StockValuesGiveTheirShapesAndTheArrowOtherwise)
{
    REQUIRE_XVFB(XvfbServer::shared());
    iWindowManager* manager = OS()->windowMgr();
    const Shown arrow = shownAfterSetting(manager->createMouseCursor(iMouseCursor::eArrow));
    ASSERT_GT(arrow.width, 0);
    for (int value : {13, 99})
        EXPECT_EQ(shownAfterSetting(manager->createMouseCursor(iMouseCursor::eStockCursor(value))), arrow) << value;

    // Each resize shape serves three values; every stock shape differs from the others.
    const int shapes[][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}, {14, 14, 14}, {15, 15, 15}};
    std::vector<Shown> seen = {arrow};
    for (const auto& values : shapes) {
        const Shown first = shownAfterSetting(manager->createMouseCursor(iMouseCursor::eStockCursor(values[0])));
        for (int value : values)
            EXPECT_EQ(shownAfterSetting(manager->createMouseCursor(iMouseCursor::eStockCursor(value))), first) << value;
        for (const Shown& other : seen)
            EXPECT_NE(first, other) << values[0];
        seen.push_back(first);
    }
}

TEST(MouseCursor, ImageCursorShowsThePremultipliedImageAtItsHotSpot)
{
    REQUIRE_XVFB(XvfbServer::shared());
    iWindowManager* manager = OS()->windowMgr();
    const Kv::Ptr<iHostImage> image = filledImage(XY<int>(5, 3), {0x40, 0x80, 0xff, 0x80});
    const Shown shown = shownAfterSetting(manager->createMouseCursor(image, XY<int>(2, 1)));
    EXPECT_EQ(shown.width, 5);
    EXPECT_EQ(shown.height, 3);
    EXPECT_EQ(shown.xhot, 2);
    EXPECT_EQ(shown.yhot, 1);
    EXPECT_EQ(shown.pixels, std::vector<std::uint32_t>(15, 0x80804020u));

    // The server takes no hot spot outside the image.
    const Shown clamped = shownAfterSetting(manager->createMouseCursor(image, XY<int>(9, -3)));
    EXPECT_EQ(clamped.xhot, 4);
    EXPECT_EQ(clamped.yhot, 0);

    const Shown arrow = shownAfterSetting(manager->createMouseCursor(iMouseCursor::eArrow));
    EXPECT_EQ(shownAfterSetting(manager->createMouseCursor(CairoImage::create(XY<int>(0, 0)), XY<int>(0, 0))), arrow);
    EXPECT_EQ(shownAfterSetting(manager->createMouseCursor(Kv::Ptr<iHostImage>(), XY<int>(0, 0))), arrow);
}

// y counts up from the bottom of the 1280x1024 screen.
TEST(MouseCursor, MousePositionFollowsThePointerWithYUpwards)
{
    REQUIRE_XVFB(XvfbServer::shared());
    iWindowManager* manager = OS()->windowMgr();
    ASSERT_EQ(std::system("xdotool mousemove --sync 100 200"), 0);
    EXPECT_EQ(manager->getMousePosition(), XY<int>(100, 824));

    // A show with no hide pending would be a protocol error that ends the process.
    manager->showMouseCursor(true);
    manager->showMouseCursor(false);
    manager->showMouseCursor(false);
    manager->showMouseCursor(true);
    manager->showMouseCursor(true);
    manager->showMouseCursor(true);
    XSync(X11Application::instance().display(), False);
    EXPECT_NE(X11Application::instance().display(), nullptr);
}
