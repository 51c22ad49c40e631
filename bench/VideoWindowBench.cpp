#include "ChildVideoWindow.h"
#include "EGLPlatform.h"
#include "OpenGLUtils.h"
#include "WindowManager.h"
#include "X11Application.h"
#include "BenchDisplay.h"
#include "iMediaServices.h"
#include "iOperatingSystem.h"

#include <benchmark/benchmark.h>

// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>

namespace
{
    const XY<int> kHD(1920, 1080);

    // OpenGL starts on the display before the first benchmark.
    const bool onXvfb = benchDisplayOpen();

    bool windows(benchmark::State& state)
    {
        if (onXvfb && EGLPlatform::instance().hasWindows())
            return true;
        state.SkipWithError(onXvfb ? "no OpenGL windows on Xvfb" : "Xvfb cannot start");
        return false;
    }

    // A picture of the frame's size, and a translucent overlay over all of it.
    struct Frame
    {
        ImageDescriptionEx picture;
        ImageDescriptionEx overlay;

        Frame()
        {
            picture.image = OS()->mediaServices()->createGPUSurface(kHD, iGPUImage::eBGRA8);
            picture.source = {0, 0, float(kHD.x), float(kHD.y)};
            picture.dest = picture.source;
            picture.blend = 0;
            overlay = picture;
            overlay.image = OS()->mediaServices()->createGPUSurface(kHD, iGPUImage::eBGRA8);
            overlay.blend = 1;
        }
    };

    // A root window holding a full-HD video window; the window is wider than
    // the screen, and the server clips what it shows.
    struct VideoWindowOnScreen
    {
        Kv::Ptr<iRootWindow> root = OS()->windowMgr()->createRootWindow(iImageBase::eHostMemory);
        Kv::Ptr<iChildVideoWindow> video;

        VideoWindowOnScreen()
        {
            iRootWindow::InitArgs args;
            args.size = XY<int>(1280, 1024);
            root->realize(args);
            video = OS()->windowMgr()->createVideoWindow(kHD, XY<int>(0, 0));
        }
    };

    // Each frame is shown: drawn through the back buffer, the overlay drawn
    // on letting go, swapped, and put on the server.
    void BM_VideoWindowFrameHD(benchmark::State& state)
    {
        if (!windows(state))
            return;
        const VideoWindowOnScreen screen;
        const Frame frame;
        screen.video->setOverlay(frame.overlay);
        Display* serverOfEGL = EGLPlatform::instance().nativeDisplay();
        for (auto _ : state) {
            screen.video->lock(false)->getPrimitivesRenderer(false)->renderMulti(&frame.picture, 1);
            XSync(serverOfEGL, False);
        }
    }
    BENCHMARK(BM_VideoWindowFrameHD)->Unit(benchmark::kMillisecond)->UseRealTime();

    // The same frame drawn into an image that nobody shows.
    void BM_VideoFrameOffscreenHD(benchmark::State& state)
    {
        if (!windows(state))
            return;
        const Frame frame;
        const Kv::Ptr<iGPUImage> target = OS()->mediaServices()->createGPUSurface(kHD, iGPUImage::eBGRA8);
        for (auto _ : state) {
            const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = target->getPrimitivesRenderer(false);
            renderer->renderMulti(&frame.picture, 1);
            renderer->renderMulti(&frame.overlay, 1);
            glFinish();
        }
    }
    BENCHMARK(BM_VideoFrameOffscreenHD)->Unit(benchmark::kMillisecond)->UseRealTime();
}
