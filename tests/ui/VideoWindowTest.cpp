#include "../gpu/OpenGLRequired.h"
#include "ChildVideoWindow.h"
#include "EGLPlatform.h"
#include "GPUNumericFont.h"
#include "MainLoop.h"
#include "OpenGLRootWindow.h"
#include "Region.h"
#include "WindowManager.h"
#include "X11Application.h"
#include "XvfbServer.h"
#include "iMediaServices.h"
#include "iOperatingSystem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>
// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>

namespace
{
    const NormalisedRGB kRed(1, 0, 0);
    const NormalisedRGB kGreen(0, 1, 0);
    const NormalisedRGB kBlue(0, 0, 1);

    // One frame of one colour, drawn through the back buffer's renderer.
    void drawFrame(iImageBase& window, const NormalisedRGB& colour)
    {
        const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = window.getPrimitivesRenderer(false);
        ASSERT_TRUE(renderer);
        RectDescription fill;
        fill.rect = {0, 0, window.getSize().x, window.getSize().y};
        fill.colour = colour;
        renderer->renderMulti(&fill, 1);
    }

    // An image of one colour in main memory, as overlays usually are.
    Kv::Ptr<iHostImage> solidImage(const XY<int>& size, uint32_t bgra)
    {
        const Kv::Ptr<iHostImage> image = OS()->mediaServices()->createHostSurface(size);
        const Kv::Ptr<iPixelGuard> pixels = image->lock();
        for (int y = 0; y < size.y; ++y)
            for (int x = 0; x < size.x; ++x)
                std::memcpy(pixels->getPixels() + y * pixels->getStride() + x * 4, &bgra, 4);
        return image;
    }

    // What the server shows in the window at (x, y), once EGL's own
    // connection has delivered every frame.
    unsigned long shownPixel(unsigned long window, int x, int y)
    {
        XSync(EGLPlatform::instance().nativeDisplay(), False);
        XImage* image = XGetImage(X11Application::instance().display(), window, x, y, 1, 1, AllPlanes, ZPixmap);
        const unsigned long pixel = image->f.get_pixel(image, 0, 0) & 0xFFFFFF;
        image->f.destroy_image(image);
        return pixel;
    }

    int whitePixelsShown(unsigned long window, const Kv::Rectangle<int>& area)
    {
        XSync(EGLPlatform::instance().nativeDisplay(), False);
        XImage* image = XGetImage(X11Application::instance().display(), window, area.left, area.top,
                                  unsigned(area.width()), unsigned(area.height()), AllPlanes, ZPixmap);
        int white = 0;
        for (int y = 0; y < area.height(); ++y)
            for (int x = 0; x < area.width(); ++x)
                white += (image->f.get_pixel(image, x, y) & 0xFFFFFF) == 0xFFFFFF;
        image->f.destroy_image(image);
        return white;
    }

    std::vector<Window> childrenOf(unsigned long window)
    {
        Window root = None;
        Window parent = None;
        Window* children = nullptr;
        unsigned int count = 0;
        XQueryTree(X11Application::instance().display(), window, &root, &parent, &children, &count);
        std::vector<Window> found(children, children + count);
        XFree(children);
        return found;
    }

    bool viewable(unsigned long window)
    {
        XWindowAttributes attributes{};
        XGetWindowAttributes(X11Application::instance().display(), window, &attributes);
        return attributes.map_state == IsViewable;
    }

    XY<int> placeOnServer(unsigned long window)
    {
        const Kv::Rectangle<int> place = X11Application::instance().geometry(window);
        return XY<int>(place.left, place.top);
    }

    struct PaintRecorder : iEventHandler
    {
        std::vector<Kv::Rectangle<int>> paints;
        bool withRenderer = false;

        int handlePaintEvent(const PaintEvent& event) override
        {
            paints.push_back(event.region->getBounds());
            withRenderer = withRenderer || event.renderer;
            return 0;
        }
    };

    // Windows on the test's Xvfb, with OpenGL started on that server.
    class VideoWindow : public ::testing::Test
    {
    protected:
        void SetUp() override
        {
            REQUIRE_XVFB(XvfbServer::shared());
            EGLPlatform::useXDisplay(XvfbServer::shared().displayName().c_str());
            static_cast<WindowManager*>(OS()->windowMgr())->init();
            REQUIRE_OPENGL(EGLPlatform::instance().hasWindows(), "EGL makes no window surfaces on Xvfb");
            root_ = OS()->windowMgr()->createRootWindow(iImageBase::eHostMemory);
            iRootWindow::InitArgs args;
            args.position = XY<int>(100, 100);
            args.size = XY<int>(400, 300);
            ASSERT_TRUE(root_->realize(args));
            ASSERT_TRUE(runLoopUntil([&] { return viewable(rootView()); }));
        }

        unsigned long rootView() const { return dynamic_cast<RootWindowBase&>(*root_).view()->window(); }

        Kv::Ptr<iChildVideoWindow> childAt(const XY<int>& size, const XY<int>& position) const
        {
            return OS()->windowMgr()->createVideoWindow(size, position);
        }

        static VideoWindowView& viewOf(const Kv::Ptr<iChildVideoWindow>& window)
        {
            return dynamic_cast<ChildVideoWindow&>(*window).view();
        }

        Kv::Ptr<iRootWindow> root_;
    };
}

TEST_F(VideoWindow, ShowsEachFrameWithTheOverlayDrawnLast)
{
    const Kv::Ptr<iChildVideoWindow> video = childAt({200, 100}, {50, 40});
    const unsigned long shown = viewOf(video).window();
    ASSERT_TRUE(viewOf(video).hasSurface());
    ASSERT_TRUE(runLoopUntil([&] { return viewable(shown); }));
    EXPECT_EQ(viewOf(video).frame(), (Kv::Rectangle<int>{50, 40, 250, 140}));

    struct Frame
    {
        const char* name;
        bool overlay;
        NormalisedRGB colour;
        unsigned long left, right;
    };
    const Frame frames[] = {
        {"an overlay without an image draws nothing", false, kRed, 0xFF0000, 0xFF0000},
        {"the overlay covers the left half", true, kBlue, 0x00FF00, 0x0000FF},
    };
    for (const Frame& frame : frames) {
        SCOPED_TRACE(frame.name);
        ImageDescriptionEx overlay;
        if (frame.overlay) {
            overlay.image = solidImage({8, 8}, 0xFF00FF00);
            overlay.source = {0, 0, 8, 8};
            overlay.dest = {0, 0, 100, 100};
            overlay.blend = 0;
        }
        video->setOverlay(overlay);
        drawFrame(*video->lock(false), frame.colour);
        EXPECT_EQ(shownPixel(shown, 50, 50), frame.left);
        EXPECT_EQ(shownPixel(shown, 150, 50), frame.right);
    }
}

// A text seen for the first time is drawn into a texture on another context
// in the middle of the frame: the frame goes on in the window afterwards. The
// numeric font, on the GPU font a caller has at hand, puts its text together
// in a texture rendered on that context.
TEST_F(VideoWindow, AFrameGoesOnInTheWindowAfterANewTextAndShowsIt)
{
    const Kv::Ptr<iChildVideoWindow> video = childAt({200, 100}, {50, 40});
    const unsigned long shown = viewOf(video).window();
    ASSERT_TRUE(runLoopUntil([&] { return viewable(shown); }));
    const Kv::Ptr<iFont> font = OS()->mediaServices()->createGPUSurfaceFont(L"DejaVu Sans", 40, 0);
    struct Case
    {
        const char* name;
        const wchar_t* text;
        Kv::Ptr<iFont> font;
    };
    const Case cases[] = {
        {"a GPU font", L"\u2588\u2588\u2588", font},
        {"the numeric font", L"888", Kv::Ptr<iFont>(new GPUNumericFont(font))},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        {
            const Kv::Ptr<iVideoWindowBackBuffer> buffer = video->lock(false);
            const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = buffer->getPrimitivesRenderer(false);
            RectDescription fill;
            fill.rect = {0, 0, 200, 100};
            fill.colour = kRed;
            renderer->renderMulti(&fill, 1);
            TextAlignment onBaseline;
            onBaseline.vertical = 1;
            const TextDescription text(c.text, XY<int>(10, 60), NormalisedRGB(1, 1, 1), onBaseline, c.font);
            renderer->renderMulti(&text, 1);
            fill.rect = {150, 0, 200, 100};
            fill.colour = kBlue;
            renderer->renderMulti(&fill, 1);
        }
        EXPECT_EQ(shownPixel(shown, 175, 50), 0x0000FFu) << "the rectangle after the text";
        EXPECT_GT(whitePixelsShown(shown, {10, 20, 100, 60}), 100) << "the text";
    }
}

TEST_F(VideoWindow, SetSizeLeavesTheViewAndSetGeometryMovesFirst)
{
    const Kv::Ptr<iChildVideoWindow> video = childAt({200, 100}, {50, 40});
    const unsigned long shown = viewOf(video).window();
    video->setSize({300, 200});
    EXPECT_EQ(video->getSize(), XY<int>(300, 200));
    EXPECT_EQ(video->lock(false)->getSize(), XY<int>(300, 200));
    EXPECT_EQ(viewOf(video).frame(), (Kv::Rectangle<int>{50, 40, 250, 140}));

    video->setGeometry({10, 20}, {120, 60});
    EXPECT_EQ(video->getSize(), XY<int>(120, 60));
    EXPECT_EQ(viewOf(video).frame(), (Kv::Rectangle<int>{10, 20, 210, 120}));
    ASSERT_TRUE(runLoopUntil([&] { return placeOnServer(shown) == XY<int>(10, 20); }));

    video->setVisible(false);
    EXPECT_TRUE(runLoopUntil([&] { return !viewable(shown); }));
    video->setVisible(true);
    EXPECT_TRUE(runLoopUntil([&] { return viewable(shown); }));
}

// The vertical place is counted from the parent's bottom and cut to 16 bits;
// X carries coordinates in 16 bits as well, so the server puts the view
// where it was asked to go.
TEST_F(VideoWindow, YIsCutToSixteenBitsFromTheParentsBottom)
{
    struct Case
    {
        const char* name;
        int y;
        int expectedTop;
    };
    const Case cases[] = {
        {"inside", 40, 40},
        // 300 - (400 + 100) = -200, which is 65336 in 16 bits.
        {"below the parent's bottom", 400, 300 - 65336 - 100},
        {"above the parent's top", -200, -200},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Kv::Ptr<iChildVideoWindow> video = childAt({200, 100}, {30, c.y});
        EXPECT_EQ(viewOf(video).frame().top, c.expectedTop);
        EXPECT_EQ(placeOnServer(viewOf(video).window()), XY<int>(30, c.y));

        video->setPosition({60, c.y});
        EXPECT_EQ(viewOf(video).frame(), (Kv::Rectangle<int>{60, c.expectedTop, 260, c.expectedTop + 100}));
    }
}

TEST_F(VideoWindow, ADestroyedWindowsViewStaysUntilTheNextTick)
{
    Kv::Ptr<iChildVideoWindow> video = childAt({200, 100}, {50, 40});
    const Window shown = viewOf(video).window();
    video = {};
    XSync(X11Application::instance().display(), False);
    std::vector<Window> children = childrenOf(rootView());
    EXPECT_NE(std::find(children.begin(), children.end(), shown), children.end());

    runLoopFor(20);
    XSync(X11Application::instance().display(), False);
    children = childrenOf(rootView());
    EXPECT_EQ(std::find(children.begin(), children.end(), shown), children.end());
}

TEST_F(VideoWindow, WithoutARootWindowTheViewIsNeverShown)
{
    root_ = {};
    const Kv::Ptr<iChildVideoWindow> video = childAt({200, 100}, {50, 40});
    EXPECT_EQ(viewOf(video).window(), 0u);
    EXPECT_EQ(video->lock(false)->getSize(), XY<int>(200, 100));
}

TEST_F(VideoWindow, AnOpenGLRootWindowPaintsOnceForItsRequestsThroughItsBackBuffer)
{
    const Kv::Ptr<PaintRecorder> recorder(new PaintRecorder);
    const Kv::Ptr<OpenGLRootWindow> window(new OpenGLRootWindow);
    iRootWindow::InitArgs args;
    args.position = XY<int>(600, 100);
    args.size = XY<int>(320, 240);
    args.handler = Kv::Ptr<iEventHandler>(recorder);
    ASSERT_TRUE(window->realize(args));
    const unsigned long shown = window->view()->window();
    ASSERT_TRUE(runLoopUntil([&] { return viewable(shown) && !recorder->paints.empty(); }));
    EXPECT_EQ(window->getLocation(), iImageBase::eGPUMemory);

    drawFrame(*window, kGreen);
    EXPECT_EQ(shownPixel(shown, 160, 120), 0x00FF00u);

    recorder->paints.clear();
    window->requestRepaint(Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{10, 10, 20, 20})));
    window->requestRepaint(Kv::Ptr<iRegion>(new Region(
        iRegion::Rectangles{Kv::Rectangle<int>{50, 40, 60, 70}, Kv::Rectangle<int>{5, 100, 15, 110}})));
    window->requestRepaint(Kv::Ptr<iRegion>());
    runLoopFor(100);
    ASSERT_EQ(recorder->paints.size(), 1u);
    EXPECT_EQ(recorder->paints[0], (Kv::Rectangle<int>{5, 10, 60, 110}));
    EXPECT_FALSE(recorder->withRenderer);
}

TEST_F(VideoWindow, TheFullScreenVideoWindowCoversThePrimaryScreen)
{
    const Kv::Ptr<iVideoWindow> video = OS()->windowMgr()->createVideoWindowFullscreen();
    ASSERT_TRUE(video);
    auto& window = dynamic_cast<OpenGLRootWindow&>(*video);
    const unsigned long shown = window.view()->window();
    ASSERT_TRUE(runLoopUntil([&] { return viewable(shown); }));
    EXPECT_EQ(window.getSize(), XY<int>(1280, 1024));
    EXPECT_FALSE(window.isTitleBarEnabled());

    drawFrame(*video->lock(false), kBlue);
    EXPECT_EQ(shownPixel(shown, 1000, 900), 0x0000FFu);
}
