#include "GL1Renderer.h"
#include "CairoImage.h"
#include "EGLPlatform.h"
#include "GPUFontBase.h"
#include "GPUImage.h"
#include "GraphicPrimitives.h"
#include "OS.h"
#include "OpenGLContextProtector.h"
#include "OpenGLRequired.h"
#include "OpenGLUtils.h"
#include "Region.h"
#include "iMediaServices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <vector>

namespace
{
    using Pixel = std::uint32_t; // 0xAARRGGBB
    using System = OpenGLGraphicPrimitivesRendererBase::eCoordinateSystem;
    constexpr System kBottomLeft = OpenGLGraphicPrimitivesRendererBase::eOriginBottomLeft;
    constexpr System kTopLeft = OpenGLGraphicPrimitivesRendererBase::eOriginTopLeft;

    constexpr Pixel kBlack = 0xFF000000;
    constexpr Pixel kRed = 0xFFFF0000;
    constexpr Pixel kGreen = 0xFF00FF00;
    constexpr Pixel kBlue = 0xFF0000FF;
    constexpr Pixel kWhite = 0xFFFFFFFF;

    const NormalisedRGB red(1, 0, 0);
    const NormalisedRGB green(0, 1, 0);

    // y counts from the bottom row, as OpenGL draws into an image.
    struct Probe
    {
        int x;
        int y;
        Pixel expected;
        int tolerance = 0; // in each channel
    };

    using Draw = std::function<void(iGraphicPrimitivesRenderer&)>;

    struct Case
    {
        const char* name;
        Draw draw;
        std::vector<Probe> probes;
        System system = kBottomLeft;
    };

    template <class Record> Draw drawing(Record record, Kv::Ptr<iRegion> clip = nullptr)
    {
        return [record, clip](iGraphicPrimitivesRenderer& renderer) {
            renderer.setClipRegion(clip);
            renderer.renderMulti(&record, 1);
        };
    }

    RectDescription rectangle(const Kv::Rectangle<int>& area, const NormalisedRGB& colour)
    {
        RectDescription record;
        record.rect = area;
        record.colour = colour;
        return record;
    }

    // An effect frame in green round a red rectangle.
    RectDescription frame(const Kv::Rectangle<int>& area, unsigned int cornerStyle, float size)
    {
        RectDescription record = rectangle(area, red);
        record.effect = 1;
        record.effectParam = cornerStyle;
        record.effectSize = size;
        record.effectColour = green;
        return record;
    }

    EllipseDescription ellipse(const Kv::Rectangle<int>& area, unsigned int style, short startAngle, short endAngle,
                               unsigned short lineWidth = 0)
    {
        EllipseDescription record;
        record.rect = area;
        record.style = style;
        record.fill = red;
        record.outline = green;
        record.lineWidth = lineWidth;
        record.startAngle = startAngle;
        record.endAngle = endAngle;
        return record;
    }

    LineDescription line(const XY<int>& start, const XY<int>& end, unsigned int style)
    {
        LineDescription record;
        record.start = start;
        record.end = end;
        record.colour = record.colour2 = red;
        record.style = style;
        record.width = 1;
        return record;
    }

    // A region that is not one rectangle.
    Kv::Ptr<iRegion> twoRectangles(const Kv::Rectangle<int>& first, const Kv::Rectangle<int>& second)
    {
        return Kv::Ptr<iRegion>(new Region(iRegion::Rectangles{first, second}));
    }

    // 16 by 16, in quarters: red, green over blue, white, with memory row 0
    // on top.
    Kv::Ptr<iHostImage> quarters()
    {
        const Kv::Ptr<iHostImage> image(new CairoImage(XY<int>(16, 16), 32, 1));
        const Kv::Ptr<iPixelGuard> pixels = image->lock();
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x)
                reinterpret_cast<Pixel*>(pixels->getPixels() + y * pixels->getStride())[x] =
                    y < 8 ? (x < 8 ? kRed : kGreen) : (x < 8 ? kBlue : kWhite);
        return image;
    }

    // The whole of a 16 by 16 image.
    ImageDescriptionEx imageEx(const Kv::Ptr<iImageBase>& image, const Kv::Rectangle<float>& dest, unsigned int filter)
    {
        ImageDescriptionEx record;
        record.image = image;
        record.source = {0, 0, 16, 16};
        record.dest = dest;
        record.blend = 0;
        record.filter = filter;
        return record;
    }

    // Neither an OpenGL image nor a host image.
    class ForeignImage : public iImageBase
    {
    public:
        eLocation getLocation() const override { return eGPUMemory; }
        XY<int> getSize() const override { return XY<int>(4, 4); }
        unsigned int getBitsPerPixel() const override { return 32; }
        unsigned int getBitsPerComponent() const override { return 8; }
        Kv::Ptr<iGraphicPrimitivesRenderer> getPrimitivesRenderer(bool) override { return nullptr; }
        Kv::Ptr<iImage> createCompatibleImage(const XY<int>&) override { return nullptr; }
    };

    // Colours inverted by one technique, kept by the other, both tinted.
    const char kInvertEffect[] = R"(texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; };
float4 Tint = {1, 1, 1, 1};
float4 keep(float2 uv : TEXCOORD1) : COLOR { return tex2D(InputSampler, uv) * Tint; }
float4 invert(float2 uv : TEXCOORD1) : COLOR { float4 c = tex2D(InputSampler, uv); return float4(1 - c.rgb, 1) * Tint; }
technique Keep { pass One { PixelShader = compile PROFILE keep(); } }
technique Invert { pass One { PixelShader = compile PROFILE invert(); } }
)";

    class TintValue : public iShaderParamValue
    {
    public:
        explicit TintValue(const NormalisedRGB& tint) : tint_(tint) {}
        void apply(Kv::Ptr<iOpenGLShaderEffect> effect) override { effect->setColour("Tint", tint_); }

    private:
        NormalisedRGB tint_;
    };

    // Every text is its coverage image, 8 by 4, and each character 2 pixels wide.
    class CoverageFont : public GPUFontBase
    {
    public:
        explicit CoverageFont(const Kv::Ptr<GPUImage>& coverage) : coverage_(coverage) {}

        ImageDescriptionEx renderText(const TextDescription&) const override
        {
            scissoredWhileRendering = glIsEnabled(GL_SCISSOR_TEST);
            ImageDescriptionEx text;
            text.image = coverage_;
            text.source = {0, 0, 8, 4};
            return text;
        }
        Metrics getMetrics() const override { return {0, 0, 0, 6}; }
        unsigned int getStyle() const override { return 0; }
        XY<int> measure(const LightweightString<wchar_t>&, short) const override { return XY<int>(8, 4); }
        void measure(const LightweightString<wchar_t>& text, std::vector<int>& positions) const override
        {
            for (unsigned int index = 0; index < text.size(); ++index)
                positions.push_back(int(index + 1) * 2);
        }
        CharLocation locateCharacter(const LightweightString<wchar_t>&, eCharSeekMethod, unsigned int) const override
        {
            return {};
        }
        CharLocation getCharacterUnderPixel(const LightweightString<wchar_t>&, unsigned int) const override
        {
            return {};
        }

        mutable bool scissoredWhileRendering = true;

    private:
        Kv::Ptr<GPUImage> coverage_;
    };

    class GL1RendererTest : public ::testing::Test
    {
    protected:
        void SetUp() override
        {
            REQUIRE_OPENGL(OpenGLUtils::isAvailable(), EGLPlatform::instance().unavailableReason());
            image = Kv::Ptr<GPUImage>(new GPUImage(iGPUImage::StorageT{XY<int>(64, 64), iGPUImage::eBGRA8}));
            // Tests that went before may have left a program in use, which
            // would stand in for the fixed-function stage.
            const OpenGLContextProtector protector;
            glUseProgram(0);
        }

        // On the image; the top-left system draws as a window renderer does,
        // into the framebuffer that its caller has bound.
        void render(System system, const Draw& draw)
        {
            if (system == kBottomLeft) {
                draw(*image->getPrimitivesRenderer(false));
                return;
            }
            // Binding the target sets the viewport and the projection, which
            // go back as they were for the tests that follow.
            const OpenGLContextProtector protector;
            glPushAttrib(GL_VIEWPORT_BIT | GL_TRANSFORM_BIT);
            glMatrixMode(GL_PROJECTION);
            glPushMatrix();
            OpenGLUtils::instance().pushRenderTarget(image);
            {
                GL1Renderer renderer(EGL_NO_CONTEXT, XY<int>(64, 64));
                draw(renderer);
            }
            OpenGLUtils::instance().popRenderTarget();
            glMatrixMode(GL_PROJECTION);
            glPopMatrix();
            glPopAttrib();
        }

        // A recycled texture keeps its old pixels.
        void clear() { render(kBottomLeft, drawing(rectangle({0, 0, 64, 64}, NormalisedRGB(0, 0, 0)))); }

        // Each case starts black.
        void run(const std::vector<Case>& cases)
        {
            for (const Case& testCase : cases) {
                SCOPED_TRACE(testCase.name);
                clear();
                render(testCase.system, testCase.draw);
                expectPixels(testCase.probes);
            }
        }

        // The image's row y, from the bottom.
        std::vector<Pixel> row(int y)
        {
            const Kv::Ptr<iHostImage> host = OpenGLUtils::instance().copyToHost(image);
            const Kv::Ptr<iPixelGuard> pixels = host->lock();
            const auto* first = reinterpret_cast<const Pixel*>(pixels->getPixels() + y * pixels->getStride());
            return std::vector<Pixel>(first, first + 64);
        }

        void expectPixels(const std::vector<Probe>& probes)
        {
            for (const Probe& probe : probes) {
                const Pixel actual = row(probe.y)[probe.x];
                bool near = true;
                for (int shift = 0; shift < 32; shift += 8)
                    near = near && std::abs(int(actual >> shift & 0xFF) - int(probe.expected >> shift & 0xFF)) <=
                                       probe.tolerance;
                EXPECT_TRUE(near) << "at (" << probe.x << ", " << probe.y << ") " << std::hex << actual << " is not "
                                  << probe.expected;
            }
        }

        Kv::Ptr<GPUImage> image;
    };
}

TEST_F(GL1RendererTest, MapsEachRecordToItsCoordinateSystem)
{
    AlphaRectDescription alphaRect;
    alphaRect.rect = {10, 20, 30, 40};
    alphaRect.colour = red;
    LineStripDescription strip;
    strip.points = {XY<float>(5, 10), XY<float>(40, 10)};
    strip.colour = red;
    strip.width = 1;
    TriangleStripDescription triangle;
    triangle.vertices = {XY<int>(0, 0), XY<int>(20, 0), XY<int>(0, 20)};
    triangle.colour = red;
    const ImageDescription picture(quarters(), XY<int>(0, 0), {0, 0, 16, 16}, false);
    run({
        {"rect",
         drawing(rectangle({10, 20, 30, 40}, red)),
         {{10, 20, kRed}, {29, 39, kRed}, {9, 20, kBlack}, {30, 39, kBlack}}},
        {"rect, top left",
         drawing(rectangle({10, 20, 30, 40}, red)),
         {{10, 24, kRed}, {10, 43, kRed}, {10, 23, kBlack}, {10, 44, kBlack}},
         kTopLeft},
        {"alpha rect, top left", drawing(alphaRect), {{10, 24, kRed}, {10, 43, kRed}, {10, 44, kBlack}}, kTopLeft},
        {"line", drawing(line({5, 10}, {40, 10}, 0)), {{20, 9, kRed}, {20, 10, kBlack}}},
        {"line, top left at the height less y plus a half",
         drawing(line({5, 10}, {40, 10}, 0)),
         {{20, 54, kRed}, {20, 53, kBlack}},
         kTopLeft},
        {"line strip, top left at the height less y less a half",
         drawing(strip),
         {{20, 53, kRed}, {20, 54, kBlack}},
         kTopLeft},
        {"ellipse, top left",
         drawing(ellipse({10, 10, 20, 20}, 0, 0, 360)),
         {{15, 49, kRed}, {15, 15, kBlack}},
         kTopLeft},
        {"triangle strip, top left, unmapped", drawing(triangle), {{2, 2, kRed}, {2, 61, kBlack}}, kTopLeft},
        {"frame, top left, unmapped",
         drawing(frame({20, 4, 44, 12}, 0, 2)),
         {{21, 8, kGreen}, {21, 56, kBlack}},
         kTopLeft},
        {"image", drawing(picture), {{2, 2, kRed}, {10, 2, kGreen}, {2, 10, kBlue}, {10, 10, kWhite}}},
        {"image, top left",
         drawing(picture),
         {{2, 61, kRed}, {10, 61, kGreen}, {2, 50, kBlue}, {10, 50, kWhite}},
         kTopLeft},
    });
}

TEST_F(GL1RendererTest, DrawsRectanglesByTheirPath)
{
    RectDescription gradient = rectangle({0, 0, 64, 64}, red);
    gradient.gradient = 1;
    gradient.gradientEnd = NormalisedRGB(0, 0, 1);
    RectDescription rotated = rectangle({20, 20, 44, 44}, red);
    rotated.rotation = 45;
    RectDescription rotatedGradient = rotated;
    rotatedGradient.gradient = 1;
    rotatedGradient.gradientEnd = green;
    RectDescription farFromTheMiddle = rectangle({10, 10, 30, 14}, red);
    farFromTheMiddle.rotation = 180;
    const Kv::Ptr<iRegion> bands = twoRectangles({0, 0, 64, 32}, {0, 32, 40, 64});
    // Round the whole rectangle, and still not one rectangle.
    const Kv::Ptr<iRegion> notch = twoRectangles({0, 0, 64, 50}, {0, 50, 10, 64});
    run({
        {"no gradient without a region", drawing(gradient), {{10, 62, kRed}}},
        {"a gradient from top to bottom through a region",
         drawing(gradient, bands),
         {{10, 0, kRed, 4}, {10, 63, kBlue, 4}, {50, 40, kBlack}}},
        {"rotated", drawing(rotated), {{32, 45, kRed}, {21, 21, kBlack}, {32, 32, kRed}}},
        {"rotated through a region, without its gradient",
         drawing(rotatedGradient, notch),
         {{32, 45, kRed}, {32, 22, kRed}, {21, 21, kBlack}}},
        // The centre is not mapped while the corners are: turned half round
        // it, the rectangle leaves the image.
        {"rotated, top left", drawing(farFromTheMiddle), {{20, 52, kBlack}, {20, 12, kBlack}}, kTopLeft},
        {"rotated, bottom left", drawing(farFromTheMiddle), {{20, 12, kRed}}},
        {"an effect through a region fills and draws no frame",
         drawing(frame({20, 20, 44, 44}, 0, 8), bands),
         {{32, 32, kRed}, {42, 25, kRed}, {42, 40, kBlack}, {12, 12, kBlack}}},
    });
}

TEST_F(GL1RendererTest, DrawsEachFrameStyleWithoutTheFill)
{
    // Round a 24-pixel square with 8-pixel frames, the centre at (32, 32):
    // the outer corner, inside a rounded corner, the side and the centre.
    const Kv::Rectangle<int> open = {20, 20, 44, 44};
    // So small that the frame meets itself.
    const Kv::Rectangle<int> solid = {28, 28, 36, 36};
    run({
        {"square",
         drawing(frame(open, 0, 8)),
         {{12, 12, kGreen}, {15, 15, kGreen}, {23, 32, kGreen}, {32, 32, kBlack}, {11, 32, kBlack}}},
        {"cut", drawing(frame(open, 1, 8)), {{12, 12, kBlack}, {15, 15, kBlack}, {23, 32, kGreen}, {32, 32, kBlack}}},
        {"round", drawing(frame(open, 2, 8)), {{12, 12, kBlack}, {15, 15, kGreen}, {23, 32, kGreen}, {32, 32, kBlack}}},
        {"square, solid", drawing(frame(solid, 0, 8)), {{32, 32, kGreen}, {21, 21, kGreen}, {18, 32, kBlack}}},
        {"cut, solid", drawing(frame(solid, 1, 8)), {{32, 32, kGreen}, {25, 25, kGreen}, {21, 21, kBlack}}},
        {"round, solid", drawing(frame(solid, 7, 8)), {{32, 32, kGreen}, {25, 25, kGreen}, {21, 21, kBlack}}},
    });
}

TEST_F(GL1RendererTest, DrawsEllipsesAndArcs)
{
    EllipseDescription turned = ellipse({16, 16, 48, 48}, 0, 0, 90);
    turned.rotation = 90;
    EllipseDescription translucent = ellipse({16, 16, 48, 48}, 0, 0, 360);
    translucent.fill.a = 0.5f;
    run({
        {"whole", drawing(ellipse({16, 16, 48, 48}, 0, 0, 360)), {{32, 32, kRed}, {32, 46, kRed}, {17, 17, kBlack}}},
        {"quarter", drawing(ellipse({16, 16, 48, 48}, 0, 0, 90)), {{40, 40, kRed}, {24, 40, kBlack}, {24, 24, kBlack}}},
        {"quarter turned a quarter", drawing(turned), {{24, 40, kRed}, {40, 40, kBlack}}},
        {"3 degrees is one point", drawing(ellipse({16, 16, 48, 48}, 0, 0, 3)), {{40, 33, kBlack}, {32, 32, kBlack}}},
        {"translucent", drawing(translucent), {{32, 32, 0xBF800000, 1}}},
        {"thick outline",
         drawing(ellipse({16, 16, 48, 48}, 1, 0, 360, 4)),
         {{47, 32, kGreen}, {40, 32, kBlack}, {32, 32, kBlack}}},
        {"outline thicker than the radius", drawing(ellipse({28, 28, 36, 36}, 1, 0, 360, 4)), {{32, 32, kGreen}}},
        {"fill and thin outline", drawing(ellipse({16, 16, 48, 48}, 2, 0, 360, 1)), {{32, 32, kRed}, {17, 17, kBlack}}},
        {"two turns draw one", drawing(ellipse({16, 16, 48, 48}, 0, -360, 360)), {{32, 32, kRed}, {17, 17, kBlack}}},
    });
}

TEST_F(GL1RendererTest, DrawsRoundedRectanglesSquareWithTheirBorders)
{
    RoundedRectDescription plain;
    plain.rect = {10, 10, 30, 30};
    plain.fill = red;
    plain.radius = 6;
    RoundedRectDescription bordered = plain;
    bordered.border = green;
    bordered.borderWidth = 2;
    RoundedRectDescription sameColours = bordered;
    sameColours.border = red;
    run({
        {"no border", drawing(plain), {{20, 20, kRed}, {10, 10, kRed}}},
        {"border",
         drawing(bordered),
         {{20, 20, kRed}, {11, 20, kGreen}, {20, 11, kGreen}, {28, 20, kGreen}, {20, 29, kGreen}}},
        {"border in the fill's colour leaves the inside", drawing(sameColours), {{20, 20, kBlack}, {11, 20, kRed}}},
    });
}

TEST_F(GL1RendererTest, BlendsByAlphaWhereTheRecordAsks)
{
    RectDescription blended = rectangle({0, 0, 64, 64}, NormalisedRGB(1, 0, 0, 0.5f));
    blended.blendMode = 1;
    AlphaRectDescription alphaRect;
    alphaRect.rect = {0, 0, 64, 64};
    alphaRect.colour = NormalisedRGB(1, 0, 0, 0.5f);
    run({
        {"blended rect", drawing(blended), {{5, 5, 0xBF800000, 1}}},
        {"replacing rect", drawing(rectangle({0, 0, 64, 64}, NormalisedRGB(1, 0, 0, 0.5f))), {{5, 5, 0x80FF0000, 1}}},
        {"alpha rect", drawing(alphaRect), {{5, 5, 0xBF800000, 1}}},
    });
}

TEST_F(GL1RendererTest, ClipsByScissorOrByRegion)
{
    const Kv::Ptr<iRegion> box(new Region(Kv::Rectangle<int>{10, 10, 20, 30}));
    const Kv::Ptr<iRegion> bands = twoRectangles({0, 0, 8, 64}, {24, 0, 64, 64});
    const RectDescription all = rectangle({0, 0, 64, 64}, red);
    AlphaRectDescription alphaRect;
    alphaRect.rect = {0, 0, 64, 64};
    alphaRect.colour = red;
    run({
        {"scissor", drawing(all, box), {{10, 10, kRed}, {19, 29, kRed}, {9, 10, kBlack}, {10, 30, kBlack}}},
        {"scissor, top left",
         drawing(all, box),
         {{10, 34, kRed}, {19, 53, kRed}, {10, 33, kBlack}, {10, 54, kBlack}},
         kTopLeft},
        {"rectangles of a region", drawing(all, bands), {{4, 4, kRed}, {12, 4, kBlack}, {30, 60, kRed}}},
        {"a region does not clip other primitives", drawing(alphaRect, bands), {{12, 4, kRed}}},
        {"a region without rectangles draws nothing",
         drawing(all, Kv::Ptr<iRegion>(new Region(iRegion::Rectangles()))),
         {{4, 4, kBlack}}},
    });
}

TEST_F(GL1RendererTest, DrawsImagesByFilterAndThroughRegions)
{
    const Kv::Ptr<iHostImage> host = quarters();
    const ImageDescriptionEx doubled = imageEx(host, {0, 0, 32, 32}, 1);
    ImageDescriptionEx linear = doubled;
    linear.filter = 0;
    // The source moves pixel for pixel with the cut edges.
    const Kv::Ptr<iRegion> bands = twoRectangles({0, 0, 4, 64}, {12, 0, 64, 64});
    run({
        {"nearest", drawing(doubled), {{15, 4, kRed}, {16, 4, kGreen}, {4, 16, kBlue}}},
        {"linear", drawing(linear), {{0, 0, kRed}, {15, 4, 0xFFBF4000, 2}}},
        {"through two rectangles",
         drawing(imageEx(host, {0, 0, 16, 16}, 1), bands),
         {{2, 2, kRed}, {6, 2, kBlack}, {14, 2, kGreen}, {14, 10, kWhite}}},
        {"no image draws no crash", drawing(imageEx(nullptr, {0, 0, 16, 16}, 1)), {}},
        {"a foreign image draws no crash",
         drawing(imageEx(Kv::Ptr<iImageBase>(new ForeignImage), {0, 0, 16, 16}, 1)),
         {}},
    });
}

TEST_F(GL1RendererTest, LeavesTheFilterOnTheTexture)
{
    const Kv::Ptr<GPUImage> source(new GPUImage(quarters()));
    render(kBottomLeft, drawing(imageEx(source, {0, 0, 16, 16}, 1)));
    GLint filter = 0;
    {
        const OpenGLContextProtector protector;
        glBindTexture(GL_TEXTURE_2D, source->getTextureID());
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &filter);
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    EXPECT_EQ(filter, GL_NEAREST);
}

TEST_F(GL1RendererTest, StipplesDashedLinesAndSmoothsOnlyDiagonals)
{
    clear();
    const LineDescription lines[] = {line({0, 10}, {64, 10}, 1), line({0, 20}, {64, 20}, 0),
                                     line({0, 30}, {64, 62}, 0)};
    image->getPrimitivesRenderer(false)->renderMulti(lines, 3);
    const auto count = [](const std::vector<Pixel>& pixels, auto test) {
        return std::count_if(pixels.begin(), pixels.end(), test);
    };
    const std::vector<Pixel> dashed = row(9);
    EXPECT_EQ(count(dashed, [](Pixel pixel) { return pixel == kRed; }), 32);
    EXPECT_EQ(count(dashed, [](Pixel pixel) { return pixel == kBlack; }), 32);
    EXPECT_NE(dashed[0], dashed[1]);
    EXPECT_EQ(count(row(19), [](Pixel pixel) { return pixel == kRed; }), 64);
    // Smoothing leaves partly covered pixels along a diagonal.
    EXPECT_GT(count(row(46), [](Pixel pixel) { return pixel != kRed && pixel != kBlack; }), 0);
}

TEST_F(GL1RendererTest, DrawsImagesThroughTheirEffectsTechnique)
{
    const Kv::Ptr<iShaderEffect> effect = OS()->mediaServices()->compileFXFileFromBuffer(kInvertEffect, {}).effect;
    ASSERT_TRUE(effect);
    const auto through = [&effect](const char* technique, unsigned short index) {
        ImageDescriptionEx record = imageEx(quarters(), {0, 0, 16, 16}, 0);
        record.effect = effect;
        record.techniqueName = technique;
        record.technique = index;
        return record;
    };
    ImageDescriptionEx tinted = through("Keep", 0);
    tinted.params = {Kv::Ptr<iShaderParamValue>(new TintValue(NormalisedRGB(0, 0, 1)))};
    const Kv::Ptr<iRegion> bands = twoRectangles({0, 0, 4, 64}, {12, 0, 64, 64});
    run({
        {"by name",
         drawing(through("Invert", 0)),
         {{2, 2, 0xFF00FFFF}, {10, 2, 0xFFFF00FF}, {2, 10, 0xFFFFFF00}, {10, 10, kBlack}}},
        {"by index", drawing(through("", 1)), {{2, 2, 0xFF00FFFF}, {10, 10, kBlack}}},
        {"top left", drawing(through("Keep", 0)), {{2, 61, kRed}, {10, 61, kGreen}, {2, 50, kBlue}}, kTopLeft},
        {"through two rectangles",
         drawing(through("Keep", 0), bands),
         {{2, 2, kRed}, {6, 2, kBlack}, {14, 2, kGreen}, {14, 10, kWhite}}},
        // A cut piece keeps its bottom unmapped and reads its rows upside
        // down from the top.
        {"through two rectangles, top left",
         drawing(through("Keep", 0), bands),
         {{2, 30, kRed}, {2, 40, kBlue}, {14, 40, kWhite}, {6, 30, kBlack}, {2, 55, kBlack}},
         kTopLeft},
        {"with its parameter values", drawing(tinted), {{2, 2, kBlack}, {2, 10, kBlue}, {10, 10, kBlue}}},
    });
}

TEST_F(GL1RendererTest, DrawsTextsThroughTheTextEffect)
{
    const auto coverage = [this](const NormalisedRGB& colour) {
        const Kv::Ptr<GPUImage> made(new GPUImage(iGPUImage::StorageT{XY<int>(8, 4), iGPUImage::eBGRA8}));
        drawing(rectangle({0, 0, 8, 4}, colour))(*made->getPrimitivesRenderer(false));
        return Kv::Ptr<iFont>(new CoverageFont(made));
    };
    const Kv::Ptr<iFont> font = coverage(NormalisedRGB(1, 1, 1));
    // Sub-pixel coverage: the text's alpha is the average of its channels.
    const Kv::Ptr<iFont> partial = coverage(NormalisedRGB(0.6f, 0.3f, 0));
    const auto text = [&font](TextAlignment alignment, const NormalisedRGB& colour = red) {
        return TextDescription(L"abcd", XY<int>(10, 20), colour, alignment, font);
    };
    TextDescription selected(L"abcd", XY<int>(10, 20), red, {}, coverage(NormalisedRGB(0, 0, 0)));
    selected.selectionStart = 1;
    selected.selectionEnd = 3;
    selected.selectionColour = green;
    TextDescription overSelected = selected;
    overSelected.selectionStart = -3;
    overSelected.selectionEnd = 50;
    const TextDescription lastColourWins[] = {text({}), TextDescription(L"x", XY<int>(10, 40), green, {}, font)};
    const Kv::Ptr<iRegion> box(new Region(Kv::Rectangle<int>{0, 0, 14, 64}));
    run({
        {"left", drawing(text({})), {{10, 20, kRed}, {17, 23, kRed}, {18, 20, kBlack}, {9, 20, kBlack}}},
        {"right", drawing(text({1, 0})), {{2, 20, kRed}, {9, 23, kRed}, {10, 20, kBlack}}},
        {"centred", drawing(text({2, 0})), {{6, 20, kRed}, {13, 20, kRed}, {14, 20, kBlack}, {5, 20, kBlack}}},
        {"lifted by the ascent", drawing(text({0, 1})), {{10, 14, kRed}, {10, 17, kRed}, {10, 18, kBlack}}},
        {"selection", drawing(selected), {{12, 20, kGreen}, {15, 23, kGreen}, {11, 20, kBlack}, {16, 20, kBlack}}},
        {"a selection past the ends", drawing(overSelected), {{10, 20, kGreen}, {17, 23, kGreen}, {18, 20, kBlack}}},
        {"the colour set last",
         [&lastColourWins](iGraphicPrimitivesRenderer& renderer) { renderer.renderMulti(lastColourWins, 2); },
         {{10, 20, kGreen}, {10, 40, kGreen}}},
        {"scissored", drawing(text({}), box), {{10, 20, kRed}, {15, 20, kBlack}}},
        {"partly covered", drawing(TextDescription(L"abcd", XY<int>(10, 20), red, {}, partial)), {{10, 20, 0xC94D0000, 2}}},
        {"no font", drawing(TextDescription(L"abcd", XY<int>(10, 20), red, {}, nullptr)), {{10, 20, kBlack}}},
        {"a font of the host",
         drawing(TextDescription(L"abcd", XY<int>(10, 20), red, {},
                                 OS()->mediaServices()->createHostSurfaceFont(L"DejaVu Sans", 12, 0))),
         {{10, 20, kBlack}}},
        {"empty", drawing(TextDescription(L"", XY<int>(10, 20), red, {}, font)), {{10, 20, kBlack}}},
    });
    EXPECT_FALSE(static_cast<CoverageFont&>(*font).scissoredWhileRendering);
}

TEST(GL1RendererWithoutOpenGL, DoesNothingAndNeverCrashes)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            OpenGLUtils::isAvailable();
            OpenGLUtils::shutdown();
            const Kv::Ptr<GPUImage> target(new GPUImage(iGPUImage::StorageT{XY<int>(64, 64), iGPUImage::eBGRA8}));
            const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = target->getPrimitivesRenderer(false);
            const Kv::Ptr<iRegion> bands = twoRectangles({0, 0, 4, 64}, {12, 0, 64, 64});
            const RectDescription rect = frame({0, 0, 8, 8}, 2, 2);
            for (const Draw& draw : {drawing(rect, bands), drawing(ellipse({0, 0, 8, 8}, 2, 0, 360, 3)),
                                     drawing(line({0, 0}, {8, 8}, 1)), drawing(imageEx(quarters(), {0, 0, 8, 8}, 1)),
                                     drawing(TextDescription(L"abcd", XY<int>(0, 0), red, {}, nullptr))})
                draw(*renderer);
            GL1Renderer window(EGL_NO_CONTEXT, XY<int>(64, 64));
            drawing(rect)(window);
            std::exit(renderer->getCaps() == 0x7E7B ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(GL1RendererClip, MovesTheSourcePixelForPixelWithTheCutEdges)
{
    struct ClipCase
    {
        const char* name;
        Kv::Rectangle<float> dest;
        Kv::Rectangle<int> clip;
        bool survives;
        Kv::Rectangle<float> clippedDest;
        Kv::Rectangle<float> clippedSource;
    };
    const ClipCase cases[] = {
        {"inside", {10, 10, 30, 30}, {0, 0, 64, 64}, true, {10, 10, 30, 30}, {0, 0, 20, 20}},
        {"right and bottom", {10, 10, 30, 30}, {0, 0, 25, 20}, true, {10, 10, 25, 20}, {0, 0, 15, 10}},
        {"left and top", {10, 10, 30, 30}, {15, 12, 64, 64}, true, {15, 12, 30, 30}, {5, 2, 20, 20}},
        {"scaled, unscaled cut", {10, 10, 50, 50}, {30, 0, 64, 64}, true, {30, 10, 50, 50}, {20, 0, 20, 20}},
        {"touching", {10, 10, 30, 30}, {30, 0, 64, 64}, false, {30, 10, 30, 30}, {0, 0, 20, 20}},
        {"apart", {10, 10, 30, 30}, {40, 40, 64, 64}, false, {}, {0, 0, 20, 20}},
    };
    for (const ClipCase& clipCase : cases) {
        SCOPED_TRACE(clipCase.name);
        ImageDescriptionEx record;
        record.dest = clipCase.dest;
        record.source = {0, 0, 20, 20};
        EXPECT_EQ(OpenGLGraphicPrimitivesRendererBase::clip(record, clipCase.clip), clipCase.survives);
        EXPECT_TRUE(record.dest == clipCase.clippedDest);
        EXPECT_TRUE(record.source == clipCase.clippedSource);
    }
}
