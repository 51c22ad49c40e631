#include "WindowsTour.h"

#include "GPUNumericFont.h"
#include "OS.h"

#include <cstdio>
#include <string>

namespace
{
    const XY<int> kWindow(1280, 720);
    const Kv::Rectangle<int> kBin{0, 0, 300, 460};
    const Kv::Rectangle<int> kViewer{340, 20, 1260, 440};
    const Kv::Rectangle<int> kTimeline{0, 480, 1280, 720};
    constexpr unsigned kFrameMs = 40;

    // Colour bars that drift across the picture as Time goes on.
    const char kBarsEffect[] = R"(float Time = 0.0;
float4 bars(float2 uv : TEXCOORD1) : COLOR
{
    float x = frac(uv.x + Time * 0.1);
    float band = floor(x * 7.0);
    float3 colour = float3(fmod(band, 2.0), fmod(floor(band / 2.0), 2.0), fmod(floor(band / 4.0), 2.0));
    float ramp = 0.55 + 0.45 * sin(uv.y * 6.2832 + Time);
    return float4(colour * ramp, 1.0);
}
technique Bars { pass Only { PixelShader = compile PROFILE bars(); } }
)";

    NormalisedRGB rgb(int red, int green, int blue) { return NormalisedRGB(red / 255.0f, green / 255.0f, blue / 255.0f); }

    bool inside(const Kv::Rectangle<int>& area, const XY<int>& point)
    {
        return point.x >= area.left && point.x < area.right && point.y >= area.top && point.y < area.bottom;
    }

    std::wstring timecode(unsigned frame)
    {
        wchar_t text[16];
        std::swprintf(text, 16, L"%02u:%02u:%02u:%02u", frame / 90000 % 24, frame / 1500 % 60, frame / 25 % 60,
                      frame % 25);
        return text;
    }

    class Tour : public iEventHandler
    {
    public:
        explicit Tour(int seconds) : framesLeft_(seconds > 0 ? unsigned(seconds) * 1000 / kFrameMs : 0) {}

        void open(const Kv::Ptr<iRootWindow>& window)
        {
            window_ = window;
            iMediaServices* media = OS()->mediaServices();
            font_ = window->createFont(L"DejaVu Sans", 15, 0);
            const ShaderCompilationOutput bars = media->compileFXFileFromBuffer(kBarsEffect, {});
            bars_ = bars.effect;
            for (const ShaderCompilationOutput::Error& error : bars.errors)
                std::printf("kvdemo: the test pattern: %s\n", error.message.c_str());
            digits_ = Kv::Ptr<iFont>(new GPUNumericFont(media->createGPUSurfaceFont(L"DejaVu Sans Mono", 36, 0)));
            video_ = OS()->windowMgr()->createVideoWindow(XY<int>(kViewer.width(), kViewer.height()),
                                                          XY<int>(kViewer.left, kViewer.top));
            timer_ = window->createTimer(kFrameMs);
            iWindowManager* windows = OS()->windowMgr();
            cursors_[0] = windows->createMouseCursor(iMouseCursor::eArrow);
            cursors_[1] = windows->createMouseCursor(iMouseCursor::eText);
            cursors_[2] = windows->createMouseCursor(iMouseCursor::eResizeEastWest);
        }

        int handlePaintEvent(const PaintEvent& event) override
        {
            iGraphicPrimitivesRenderer& renderer = *event.renderer;
            RectDescription panels[3];
            panels[0].rect = {0, 0, kWindow.x, kWindow.y};
            panels[0].colour = rgb(28, 30, 36);
            panels[1].rect = kBin;
            panels[1].colour = rgb(40, 44, 52);
            panels[2].rect = kTimeline;
            panels[2].colour = rgb(34, 37, 44);
            renderer.renderMulti(panels, 3);

            std::vector<RectDescription> clips;
            for (int track = 0; track < 4; ++track)
                for (int clip = 0; clip < 6; ++clip) {
                    RectDescription block;
                    const int left = 20 + clip * 205 + (track * 37) % 60;
                    block.rect = {left, 500 + track * 52, left + 150 + (clip * 29) % 40, 540 + track * 52};
                    block.colour = track < 2 ? rgb(70, 110, 170) : rgb(80, 150, 100);
                    clips.push_back(block);
                }
            renderer.renderMulti(clips.data(), unsigned(clips.size()));

            std::vector<TextDescription> texts;
            const wchar_t* names[] = {L"Bin", L"  Interview A.mov", L"  Interview B.mov", L"  B-roll harbour.mov",
                                      L"  Titles", L"", L"Move over the panels: the cursor follows.",
                                      L"Control+Q quits."};
            for (int line = 0; line < 8; ++line)
                texts.emplace_back(names[line], XY<int>(16, 30 + line * 26), rgb(220, 222, 228), TextAlignment(),
                                   font_);
            renderer.renderMulti(texts.data(), unsigned(texts.size()));
            return 0;
        }

        int handleTimerEvent(const TimerEvent&) override
        {
            ++frame_;
            showFrame();
            if (framesLeft_ && --framesLeft_ == 0)
                quit();
            return 0;
        }

        int handleMouseEvent(const MouseEvent& event) override
        {
            if (event.type != MouseEvent::Move)
                return 0;
            const int shape = inside(kBin, event.position) ? 1 : inside(kTimeline, event.position) ? 2 : 0;
            if (shape != shape_) {
                shape_ = shape;
                OS()->windowMgr()->setMouseCursor(cursors_[shape]);
            }
            return 0;
        }

        int handleWindowEvent(const WindowEvent& event) override
        {
            if (event.type == WindowEvent::QuitRequested)
                quit();
            return 0;
        }

        int32_t handleUserEvent(const UserEvent&) override { return 1; }

        unsigned frames() const { return frame_; }

    private:
        // The loop ends from the user message's answer.
        void quit()
        {
            timer_ = {};
            window_->postUserMessage();
        }

        void showFrame()
        {
            if (!video_)
                return;
            const XY<int> size = video_->getSize();
            Kv::Ptr<iGPUImage> pattern;
            if (bars_ && bars_->setValue("Time", float(frame_) * kFrameMs / 1000.0f))
                pattern = bars_->render(size, {}, iGPUImage::eBGRA8);
            const Kv::Ptr<iVideoWindowBackBuffer> buffer = video_->lock(false);
            if (!buffer)
                return;
            const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = buffer->getPrimitivesRenderer(false);
            if (pattern) {
                const ImageDescription picture(Kv::Ptr<iImageBase>(pattern), XY<int>(0, 0),
                                               Kv::Rectangle<int>{0, 0, size.x, size.y}, false);
                renderer->renderMulti(&picture, 1);
            }
            RectDescription band;
            band.rect = {0, size.y - 70, size.x, size.y};
            band.colour = NormalisedRGB(0, 0, 0, 0.6f);
            band.blendMode = 1;
            renderer->renderMulti(&band, 1);
            TextAlignment onBaseline;
            onBaseline.vertical = 1;
            const TextDescription code(timecode(frame_).c_str(), XY<int>(24, size.y - 22), rgb(255, 255, 255),
                                       onBaseline, digits_);
            renderer->renderMulti(&code, 1);
        }

        Kv::Ptr<iRootWindow> window_;
        Kv::Ptr<iChildVideoWindow> video_;
        Kv::Ptr<iTimer> timer_;
        Kv::Ptr<iFont> font_;
        Kv::Ptr<iFont> digits_;
        Kv::Ptr<iShaderEffect> bars_;
        Kv::Ptr<iMouseCursor> cursors_[3];
        int shape_ = -1;
        unsigned frame_ = 0;
        unsigned framesLeft_;
    };
}

bool windowsTour(int seconds)
{
    Kv::Ptr<Tour> tour(new Tour(seconds));
    iRootWindow::InitArgs args;
    args.size = kWindow;
    args.position = XY<int>(60, 60);
    args.resizable = 0;
    args.takeFocus = 1;
    args.buttons = 7;
    args.title = L"kvdemo: windows";
    args.handler = Kv::Ptr<iEventHandler>(tour);
    const Kv::Ptr<iRootWindow> window = OS()->windowMgr()->createRootWindow(iImageBase::eHostMemory);
    if (!window->realize(args)) {
        std::printf("kvdemo: no display to open a window on (DISPLAY is not set or not reachable); "
                    "the headless tours follow\n");
        return false;
    }
    tour->open(window);
    std::printf("kvdemo: a window with a video window inside; Control+Q quits\n");
    fflush(stdout);
    OS()->windowMgr()->startEventLoop();
    std::printf("kvdemo: the window showed %u frames\n", tour->frames());
    return true;
}
