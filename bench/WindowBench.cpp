#include "Font.h"
#include "GraphicPrimitives.h"
#include "OS.h"
#include "Region.h"
#include "RootWindow.h"
#include "ShmImage.h"
#include "X11Application.h"
#include "BenchDisplay.h"
#include "iHostImage.h"
#include "iMediaServices.h"
#include "iWindowManager.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <poll.h>
#include <random>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace
{
    constexpr int kWidth = 1920;
    constexpr int kHeight = 1080;

    bool startDisplay(benchmark::State& state)
    {
        if (benchDisplayOpen())
            return true;
        state.SkipWithError("Xvfb cannot start");
        return false;
    }

    Kv::Ptr<iRootWindow> fullHDWindow(const Kv::Ptr<iEventHandler>& handler)
    {
        iRootWindow::InitArgs args;
        args.size = XY<int>(kWidth, kHeight);
        args.handler = handler;
        Kv::Ptr<iRootWindow> window = OS()->windowMgr()->createRootWindow(iImageBase::eHostMemory);
        window->realize(args);
        return window;
    }

    // 2,000 rectangles and 100 texts, the same every run.
    struct Scene
    {
        Scene()
        {
            std::mt19937 random(7);
            std::uniform_int_distribution<int> x(0, kWidth - 100);
            std::uniform_int_distribution<int> y(0, kHeight - 40);
            std::uniform_real_distribution<float> component(0.0f, 1.0f);
            rects.resize(2000);
            for (RectDescription& rect : rects) {
                const int left = x(random);
                const int top = y(random);
                rect.rect = {left, top, left + 20 + left % 80, top + 10 + top % 30};
                rect.colour = NormalisedRGB(component(random), component(random), component(random));
            }
            const Kv::Ptr<iFont> font(new Font(L"DejaVu Sans", 14, 0, 0));
            for (int i = 0; i < 100; ++i)
                texts.emplace_back((L"Clip " + std::to_wstring(i)).c_str(),
                                   XY<int>(x(random), 20 + y(random)), NormalisedRGB(1, 1, 1), TextAlignment(),
                                   font);
        }
        void draw(iGraphicPrimitivesRenderer& renderer) const
        {
            renderer.renderMulti(rects.data(), unsigned(rects.size()));
            renderer.renderMulti(texts.data(), unsigned(texts.size()));
        }
        std::vector<RectDescription> rects;
        std::vector<TextDescription> texts;
    };

    const Scene& scene()
    {
        static const Scene scene;
        return scene;
    }

    struct ScenePainter : iEventHandler
    {
        int handlePaintEvent(const PaintEvent& event) override
        {
            scene().draw(*event.renderer);
            X11Application::instance().stop();
            return 0;
        }
    };

    struct Pinger : iEventHandler
    {
        std::atomic<int> seen = 0;
        int32_t handleUserEvent(const UserEvent&) override
        {
            seen.fetch_add(1, std::memory_order_release);
            return 0;
        }
    };

    using Clock = std::chrono::steady_clock;
}

// A repaint of the whole window: the handler's drawing and the trip to the screen.
static void BM_RootWindowRepaintHD(benchmark::State& state)
{
    if (!startDisplay(state))
        return;
    Kv::Ptr<iRootWindow> window = fullHDWindow(Kv::Ptr<iEventHandler>(new ScenePainter));
    X11Application::instance().run(); // the first paint
    const Kv::Ptr<iRegion> whole(new Region(Kv::Rectangle<int>{0, 0, kWidth, kHeight}));
    for (auto _ : state) {
        window->requestRepaint(whole);
        X11Application::instance().run();
    }
}
BENCHMARK(BM_RootWindowRepaintHD)->Unit(benchmark::kMillisecond)->UseRealTime();

static void BM_HostImageSceneHD(benchmark::State& state)
{
    Kv::Ptr<iHostImage> image = OS()->mediaServices()->createHostSurface(XY<int>(kWidth, kHeight));
    for (auto _ : state) {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        scene().draw(*renderer);
    }
}
BENCHMARK(BM_HostImageSceneHD)->Unit(benchmark::kMillisecond)->UseRealTime();

// The server's part alone: a full-HD image into the window through MIT-SHM,
// waiting until the server has read it.
static void BM_ServerPutHD(benchmark::State& state)
{
    if (!startDisplay(state))
        return;
    Kv::Ptr<iRootWindow> window = fullHDWindow(Kv::Ptr<iEventHandler>(new ScenePainter));
    X11Application::instance().run();
    ShmImage image(X11Application::instance().display(), XY<int>(kWidth, kHeight));
    const iRegion::Rectangles whole{Kv::Rectangle<int>{0, 0, kWidth, kHeight}};
    const unsigned long view = dynamic_cast<RootWindowBase&>(*window).view()->window();
    for (auto _ : state) {
        image.put(view, whole);
        image.waitUntilShown();
    }
}
BENCHMARK(BM_ServerPutHD)->Unit(benchmark::kMillisecond)->UseRealTime();

// From postUserMessage on this thread to the handler's call on the loop's.
static void BM_UserMessageLatency(benchmark::State& state)
{
    if (!startDisplay(state))
        return;
    Kv::Ptr<Pinger> pinger(new Pinger);
    Kv::Ptr<iRootWindow> window;
    std::atomic<bool> ready = false;
    std::thread loop([&] {
        window = fullHDWindow(Kv::Ptr<iEventHandler>(pinger));
        ready = true;
        X11Application::instance().run();
        window = {};
    });
    while (!ready)
        std::this_thread::yield();
    int sent = 0;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        window->postUserMessage();
        ++sent;
        while (pinger->seen.load(std::memory_order_acquire) != sent) {
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    X11Application::instance().post([] { X11Application::instance().stop(); });
    loop.join();
}
BENCHMARK(BM_UserMessageLatency)->UseManualTime()->Unit(benchmark::kMicrosecond);

// The floor: one eventfd write waking a thread in poll.
static void BM_EventfdWakeLatency(benchmark::State& state)
{
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    std::atomic<int> seen = 0;
    std::atomic<bool> stopping = false;
    std::thread loop([&] {
        while (!stopping) {
            pollfd fd{wake, POLLIN, 0};
            if (poll(&fd, 1, 100) == 1) {
                uint64_t count = 0;
                [[maybe_unused]] const ssize_t drained = read(wake, &count, sizeof count);
                seen.fetch_add(int(count), std::memory_order_release);
            }
        }
    });
    int sent = 0;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(wake, &one, sizeof one);
        ++sent;
        while (seen.load(std::memory_order_acquire) != sent) {
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    stopping = true;
    loop.join();
    close(wake);
}
BENCHMARK(BM_EventfdWakeLatency)->UseManualTime()->Unit(benchmark::kMicrosecond);
