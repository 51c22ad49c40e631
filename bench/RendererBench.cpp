#include "GraphicPrimitives.h"
#include "OS.h"
#include "iHostImage.h"
#include "iImageManager.h"

#include "EGLPlatform.h"
#include "Font.h"
#include "OpenGLContextProtector.h"
#include "OpenGLUtils.h"

#include <benchmark/benchmark.h>
#include <pango/pangocairo.h>
#include <png.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace
{
    constexpr int kWidth = 1920;
    constexpr int kHeight = 1080;
    constexpr int kImageSide = 64;

    // One frame of a busy editor window, the same every run.
    struct Frame
    {
        std::vector<RectDescription> rects;
        std::vector<RoundedRectDescription> roundedRects;
        std::vector<LineDescription> lines;
        std::vector<TextDescription> texts;
        std::vector<ImageDescription> images;
    };

    NormalisedRGB randomColour(std::mt19937& random)
    {
        std::uniform_real_distribution<float> component(0.0f, 1.0f);
        return NormalisedRGB(component(random), component(random), component(random));
    }

    // The first image of the library's making comes from a file: a 1 by 1 PNG.
    Kv::Ptr<iHostImage> seedImage()
    {
        const std::string path = (std::filesystem::temp_directory_path() / "kvos_renderer_bench_seed.png").string();
        FILE* file = std::fopen(path.c_str(), "wb");
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(png);
        png_init_io(png, file);
        png_set_IHDR(png, info, 1, 1, 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        png_byte row[] = {10, 20, 30, 255};
        png_write_row(png, row);
        png_write_end(png, nullptr);
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        Kv::Ptr<iHostImage> image = OS()->imageManager()->loadImage(OS()->utils()->fromUTF8(path.c_str(), -1), "png");
        std::filesystem::remove(path);
        return image;
    }

    Kv::Ptr<iHostImage> makeImage(Kv::Ptr<iHostImage> seed, const XY<int>& size, const NormalisedRGB& colour)
    {
        Kv::Ptr<iHostImage> image = Kv::dynamicCast<iHostImage>(seed->createCompatibleImage(size));
        {
            Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
            RectDescription fill;
            fill.rect = {0, 0, size.x, size.y};
            fill.colour = colour;
            renderer->renderMulti(&fill, 1);
        }
        image->setAlphaIsPreMultiplied(true);
        return image;
    }

    Frame makeFrame(Kv::Ptr<iHostImage> seed, Kv::Ptr<iFont> font)
    {
        std::mt19937 random(2937);
        std::uniform_int_distribution<int> x(0, kWidth - 1);
        std::uniform_int_distribution<int> y(0, kHeight - 1);
        std::uniform_int_distribution<int> side(8, 120);
        Frame frame;
        RectDescription background;
        background.rect = {0, 0, kWidth, kHeight};
        background.colour = NormalisedRGB(0.1f, 0.1f, 0.12f);
        frame.rects.push_back(background);
        for (int index = 0; index < 2000; ++index) {
            RectDescription rect;
            const int left = x(random);
            const int top = y(random);
            rect.rect = {left, top, left + side(random), top + side(random)};
            rect.colour = randomColour(random);
            rect.blendMode = index % 4 == 0 ? 1 : 0;
            rect.colour.a = rect.blendMode == 1 ? 0.5f : 1.0f;
            frame.rects.push_back(rect);
        }
        for (int index = 0; index < 200; ++index) {
            RoundedRectDescription rounded;
            const int left = x(random);
            const int top = y(random);
            rounded.rect = {left, top, left + 80, top + 24};
            rounded.fill = randomColour(random);
            rounded.border = index % 2 ? rounded.fill : randomColour(random);
            rounded.borderWidth = index % 2 ? 0 : 1;
            rounded.radius = 6;
            rounded.corners = 15;
            frame.roundedRects.push_back(rounded);
        }
        for (int index = 0; index < 200; ++index) {
            LineDescription line;
            line.start = XY<int>(x(random), y(random));
            line.end = index % 2 ? XY<int>(line.start.x + 300, line.start.y) : XY<int>(x(random), y(random));
            line.colour = line.colour2 = randomColour(random);
            line.width = 1 + index % 2;
            line.flag = 1;
            frame.lines.push_back(line);
        }
        const wchar_t* const labels[] = {L"Timeline 01", L"Scene 12, take 3", L"00:41:07:12", L"Audio 2",
                                         L"Colour correction", L"Cross dissolve", L"Title card", L"Render"};
        for (int index = 0; index < 100; ++index)
            frame.texts.emplace_back(labels[index % 8], XY<int>(x(random) % 1700, 30 + y(random) % 1040),
                                     randomColour(random), TextAlignment(), font);
        std::vector<Kv::Ptr<iHostImage>> thumbnails;
        for (int index = 0; index < 5; ++index)
            thumbnails.push_back(makeImage(seed, XY<int>(kImageSide, kImageSide), randomColour(random)));
        for (int index = 0; index < 50; ++index)
            frame.images.emplace_back(thumbnails[index % 5], XY<int>(x(random) % 1850, y(random) % 1010),
                                      Kv::Rectangle<int>{0, 0, kImageSide, kImageSide}, index % 2 == 1);
        return frame;
    }

    void drawFrame(iGraphicPrimitivesRenderer& renderer, const Frame& frame)
    {
        renderer.renderMulti(frame.rects.data(), unsigned(frame.rects.size()));
        renderer.renderMulti(frame.roundedRects.data(), unsigned(frame.roundedRects.size()));
        renderer.renderMulti(frame.lines.data(), unsigned(frame.lines.size()));
        renderer.renderMulti(frame.texts.data(), unsigned(frame.texts.size()));
        renderer.renderMulti(frame.images.data(), unsigned(frame.images.size()));
    }

    struct Fixture
    {
        Fixture()
            : font(new Font(L"DejaVu Sans", 24, 0, 0)), seed(seedImage()),
              target(Kv::dynamicCast<iHostImage>(seed->createCompatibleImage(XY<int>(kWidth, kHeight)))),
              frame(makeFrame(seed, font))
        {
        }

        Kv::Ptr<Font> font;
        Kv::Ptr<iHostImage> seed;
        Kv::Ptr<iHostImage> target;
        Frame frame;
    };

    void BM_RendererFrame(benchmark::State& state)
    {
        Fixture fixture;
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = fixture.target->getPrimitivesRenderer(false);
        const Frame& frame = fixture.frame;
        for (auto _ : state) {
            drawFrame(*renderer, frame);
        }
    }
    BENCHMARK(BM_RendererFrame)->Unit(benchmark::kMillisecond);

    // The same frame painted with Cairo by hand: the same shapes, the same
    // shaped text lines, the images as surfaces over the same pixels.
    void BM_CairoFrame(benchmark::State& state)
    {
        Fixture fixture;
        const Frame& frame = fixture.frame;
        Kv::Ptr<iPixelGuard> targetPixels = fixture.target->lock();
        cairo_surface_t* surface = cairo_image_surface_create_for_data(
            targetPixels->getPixels(), CAIRO_FORMAT_ARGB32, kWidth, kHeight, int(targetPixels->getStride()));
        cairo_t* context = cairo_create(surface);

        std::vector<Kv::Ptr<iPixelGuard>> imagePixels;
        std::vector<cairo_surface_t*> imageSurfaces;
        for (const ImageDescription& image : frame.images) {
            Kv::Ptr<iPixelGuard> pixels = Kv::dynamicCast<iHostImage>(image.image)->lock();
            imageSurfaces.push_back(cairo_image_surface_create_for_data(
                pixels->getPixels(), CAIRO_FORMAT_ARGB32, kImageSide, kImageSide, int(pixels->getStride())));
            imagePixels.push_back(pixels);
        }
        std::vector<PangoLayoutLine*> textLines;
        for (const TextDescription& text : frame.texts)
            textLines.push_back(fixture.font->getLine(text.text));

        const double pi = std::numbers::pi;
        for (auto _ : state) {
            for (const RectDescription& rect : frame.rects) {
                cairo_set_operator(context, rect.blendMode == 1 ? CAIRO_OPERATOR_OVER : CAIRO_OPERATOR_SOURCE);
                cairo_set_source_rgba(context, rect.colour.r, rect.colour.g, rect.colour.b, rect.colour.a);
                cairo_rectangle(context, rect.rect.left, rect.rect.top, rect.rect.width(), rect.rect.height());
                cairo_fill(context);
            }
            cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
            for (const RoundedRectDescription& rounded : frame.roundedRects) {
                const double inset = rounded.borderWidth / 2.0;
                const double left = rounded.rect.left + inset;
                const double top = rounded.rect.top + inset;
                const double right = rounded.rect.right - inset;
                const double bottom = rounded.rect.bottom - inset;
                const double r = rounded.radius;
                cairo_new_path(context);
                cairo_arc(context, right - r, top + r, r, -pi / 2, 0);
                cairo_arc(context, right - r, bottom - r, r, 0, pi / 2);
                cairo_arc(context, left + r, bottom - r, r, pi / 2, pi);
                cairo_arc(context, left + r, top + r, r, pi, 3 * pi / 2);
                cairo_close_path(context);
                const NormalisedRGB& fill = rounded.fill;
                cairo_set_source_rgba(context, fill.r, fill.g, fill.b, fill.a);
                if (rounded.borderWidth == 0) {
                    cairo_fill(context);
                    continue;
                }
                cairo_fill_preserve(context);
                const NormalisedRGB& border = rounded.border;
                cairo_set_source_rgba(context, border.r, border.g, border.b, border.a);
                cairo_set_line_width(context, rounded.borderWidth);
                cairo_stroke(context);
            }
            for (const LineDescription& line : frame.lines) {
                const bool alongAxis = line.start.x == line.end.x || line.start.y == line.end.y;
                cairo_set_antialias(context, alongAxis ? CAIRO_ANTIALIAS_NONE : CAIRO_ANTIALIAS_DEFAULT);
                cairo_set_source_rgba(context, line.colour.r, line.colour.g, line.colour.b, line.colour.a);
                cairo_set_line_width(context, line.width);
                cairo_move_to(context, line.start.x, line.start.y);
                cairo_line_to(context, line.end.x, line.end.y);
                cairo_stroke(context);
            }
            cairo_set_antialias(context, CAIRO_ANTIALIAS_DEFAULT);
            cairo_set_operator(context, CAIRO_OPERATOR_OVER);
            for (std::size_t index = 0; index < frame.texts.size(); ++index) {
                const TextDescription& text = frame.texts[index];
                cairo_set_source_rgba(context, text.colour.r, text.colour.g, text.colour.b, text.colour.a);
                cairo_move_to(context, text.position.x, text.position.y);
                pango_cairo_show_layout_line(context, textLines[index]);
            }
            cairo_new_path(context);
            for (std::size_t index = 0; index < frame.images.size(); ++index) {
                const ImageDescription& image = frame.images[index];
                cairo_set_operator(context, image.blend ? CAIRO_OPERATOR_OVER : CAIRO_OPERATOR_SOURCE);
                cairo_set_source_surface(context, imageSurfaces[index], image.dest.left, image.dest.top);
                cairo_rectangle(context, image.dest.left, image.dest.top, kImageSide, kImageSide);
                cairo_fill(context);
            }
            cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
        }

        for (cairo_surface_t* imageSurface : imageSurfaces)
            cairo_surface_destroy(imageSurface);
        cairo_destroy(context);
        cairo_surface_destroy(surface);
    }
    BENCHMARK(BM_CairoFrame)->Unit(benchmark::kMillisecond);

    // The same frame, with GPU fonts, into a GPU image; each frame waits for
    // OpenGL to finish, as a host frame is done when its calls return.
    void BM_GL1RendererFrame(benchmark::State& state)
    {
        if (!OpenGLUtils::isAvailable()) {
            state.SkipWithError(("no OpenGL: " + EGLPlatform::instance().unavailableReason()).c_str());
            return;
        }
        const Kv::Ptr<iFont> font = OS()->mediaServices()->createGPUSurfaceFont(L"DejaVu Sans", 24, 0);
        const Frame frame = makeFrame(seedImage(), font);
        const Kv::Ptr<iGPUImage> target = OS()->mediaServices()->createGPUSurface({kWidth, kHeight}, iGPUImage::eBGRA8);
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = target->getPrimitivesRenderer(false);
        for (auto _ : state) {
            drawFrame(*renderer, frame);
            glFinish();
        }
    }
    BENCHMARK(BM_GL1RendererFrame)->Unit(benchmark::kMillisecond);
}
