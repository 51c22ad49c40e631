#include "CairoSurfaceWrapper.h"
#include "Ptr.h"
#include "ScreenGrabber.h"
#include "XvfbServer.h"

#include <benchmark/benchmark.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace
{
    // A screen of its own at 1280x1024, on a connection of its own: the
    // process's connection belongs to the benchmarks' larger display.
    Display* captureDisplay()
    {
        static XvfbServer server("1280x1024x24");
        static Display* display = server.displayName().empty() ? nullptr : XOpenDisplay(server.displayName().c_str());
        return display;
    }

    bool open(benchmark::State& state)
    {
        if (captureDisplay())
            return true;
        state.SkipWithError("Xvfb cannot start");
        return false;
    }

    // What grabScreen does, on the capture display.
    void BM_GrabScreen1280(benchmark::State& state)
    {
        if (!open(state))
            return;
        ScreenGrabber grabber;
        for (auto _ : state) {
            cairo_surface_t* still = grabber.grab(captureDisplay());
            if (!still) {
                state.SkipWithError("the screen cannot be grabbed");
                break;
            }
            Kv::Ptr<iHostImage> image(new CairoSurfaceWrapper(still));
            cairo_surface_destroy(still);
            benchmark::DoNotOptimize(image.get());
        }
    }
    BENCHMARK(BM_GrabScreen1280)->Unit(benchmark::kMillisecond)->UseRealTime();

    // The anchor: the same pixels straight from Xlib, over the socket.
    void BM_GrabByXGetImage1280(benchmark::State& state)
    {
        if (!open(state))
            return;
        Display* display = captureDisplay();
        for (auto _ : state) {
            XImage* image = XGetImage(display, DefaultRootWindow(display), 0, 0, 1280, 1024, AllPlanes, ZPixmap);
            benchmark::DoNotOptimize(image->data);
            XDestroyImage(image);
        }
    }
    BENCHMARK(BM_GrabByXGetImage1280)->Unit(benchmark::kMillisecond)->UseRealTime();
}
