#include "CairoImage.h"
#include "Font.h"
#include "GraphicPrimitives.h"
#include "Region.h"

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <vector>

namespace
{
    // Red, green, blue, alpha as stored (premultiplied).
    using Pixel = std::array<int, 4>;

    const NormalisedRGB kRed(1, 0, 0);
    const NormalisedRGB kGreen(0, 1, 0);
    const NormalisedRGB kBlue(0, 0, 1);
    const NormalisedRGB kWhite(1, 1, 1);
    const NormalisedRGB kBlack(0, 0, 0);
    const NormalisedRGB kHalfRed(1, 0, 0, 0.5f);
    const Pixel kRedPixel{255, 0, 0, 255};
    const Pixel kGreenPixel{0, 255, 0, 255};
    const Pixel kBluePixel{0, 0, 255, 255};
    const Pixel kWhitePixel{255, 255, 255, 255};
    const Pixel kBlackPixel{0, 0, 0, 255};
    // Half red copied, and blended over blue.
    const Pixel kCopiedPixel{128, 0, 0, 128};
    const Pixel kBlendedPixel{128, 0, 127, 255};

    RectDescription rectOf(const Kv::Rectangle<int>& rect, const NormalisedRGB& colour, unsigned int blendMode = 0)
    {
        RectDescription record;
        record.rect = rect;
        record.colour = colour;
        record.blendMode = blendMode;
        return record;
    }

    RoundedRectDescription roundedOf(const Kv::Rectangle<int>& rect, const NormalisedRGB& fill,
                                     const NormalisedRGB& border, unsigned short radius, unsigned short borderWidth,
                                     unsigned int corners)
    {
        RoundedRectDescription record;
        record.rect = rect;
        record.fill = fill;
        record.border = border;
        record.radius = radius;
        record.borderWidth = borderWidth;
        record.corners = corners;
        return record;
    }

    EllipseDescription ellipseOf(const Kv::Rectangle<int>& rect, unsigned int style, const NormalisedRGB& fill,
                                 unsigned short lineWidth = 0, short endAngle = 360)
    {
        EllipseDescription record;
        record.rect = rect;
        record.style = style;
        record.fill = fill;
        record.outline = kWhite;
        record.lineWidth = lineWidth;
        record.endAngle = endAngle;
        return record;
    }

    LineDescription lineOf(const XY<int>& start, const XY<int>& end, const NormalisedRGB& colour, unsigned int style = 0)
    {
        LineDescription record;
        record.start = start;
        record.end = end;
        record.colour = colour;
        record.width = 2;
        record.style = style;
        return record;
    }

    // One call on a renderer of its own, let go at once.
    template <class Record>
    void draw(const Kv::Ptr<CairoImage>& image, std::initializer_list<Record> records)
    {
        image->getPrimitivesRenderer(false)->renderMulti(records.begin(), unsigned(records.size()));
    }

    Kv::Ptr<CairoImage> canvas(int width, int height, const NormalisedRGB& background = kBlack)
    {
        Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(width, height));
        draw(image, {rectOf({0, 0, width, height}, background)});
        return image;
    }

    Pixel pixelAt(const Kv::Ptr<CairoImage>& image, int x, int y)
    {
        Kv::Ptr<iPixelGuard> pixels = image->lock();
        const unsigned char* at = pixels->getPixels() + y * pixels->getStride() + x * 4;
        return {at[2], at[1], at[0], at[3]};
    }

    std::vector<unsigned char> allPixels(const Kv::Ptr<CairoImage>& image)
    {
        Kv::Ptr<iPixelGuard> pixels = image->lock();
        return std::vector<unsigned char>(pixels->getPixels(),
                                          pixels->getPixels() + pixels->getStride() * pixels->getSize().y);
    }

    struct Probe
    {
        int x;
        int y;
        Pixel expected;
        const char* why = "";
    };

    void expectPixels(const Kv::Ptr<CairoImage>& image, std::initializer_list<Probe> probes)
    {
        for (const Probe& probe : probes)
            EXPECT_EQ(pixelAt(image, probe.x, probe.y), probe.expected) << probe.x << ", " << probe.y << " " << probe.why;
    }
}

TEST(GraphicPrimitivesRenderer, RectanglesLandTopDownWithTheirFarCornersExclusive)
{
    Kv::Ptr<CairoImage> image = canvas(10, 10);
    draw(image, {rectOf({0, 0, 10, 1}, kGreen), rectOf({2, 3, 6, 8}, kRed), rectOf({6, 9, 4, 7}, kBlue)});
    // Swapped corners: the flip goes by left and bottom, and the absolute size.
    expectPixels(image, {{0, 0, kGreenPixel, "y = 0 is the first row"}, {9, 0, kGreenPixel}, {0, 1, kBlackPixel},
                         {2, 3, kRedPixel}, {5, 7, kRedPixel}, {6, 3, kBlackPixel}, {2, 8, kBlackPixel},
                         {1, 3, kBlackPixel}, {2, 2, kBlackPixel}, {6, 5, kBluePixel}, {7, 6, kBluePixel},
                         {8, 6, kBlackPixel}, {6, 7, kBlackPixel}, {4, 8, kBlackPixel}});
}

TEST(GraphicPrimitivesRenderer, BlendModesAndEveryCallEndsBackInCopy)
{
    Kv::Ptr<CairoImage> image = canvas(9, 1, kBlue);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        // Rectangles blend in mode 1 only; the call ends on a blending record.
        const RectDescription rects[] = {rectOf({0, 0, 1, 1}, kHalfRed, 0), rectOf({1, 0, 2, 1}, kHalfRed, 1),
                                         rectOf({2, 0, 3, 1}, kHalfRed, 2), rectOf({0, 0, 0, 0}, kHalfRed, 1)};
        renderer->renderMulti(rects, 4);
        // Alpha rectangles: 0 and 1 copy, 2 blends, any other keeps the last.
        AlphaRectDescription alphas[5];
        const int modes[] = {7, 0, 1, 2, 7};
        for (int index = 0; index < 5; ++index) {
            alphas[index].rect = {3 + index, 0, 4 + index, 1};
            alphas[index].colour = kHalfRed;
            alphas[index].alphaMode = modes[index];
        }
        renderer->renderMulti(alphas, 5);
        // Rounded rectangles set no mode of their own.
        const RoundedRectDescription rounded = roundedOf({8, 0, 9, 1}, kHalfRed, kHalfRed, 0, 0, 0);
        renderer->renderMulti(&rounded, 1);
    }
    expectPixels(image, {{0, 0, kCopiedPixel}, {1, 0, kBlendedPixel}, {2, 0, kCopiedPixel},
                         {3, 0, kCopiedPixel, "the rectangles' call put copy back"}, {4, 0, kCopiedPixel},
                         {5, 0, kCopiedPixel}, {6, 0, kBlendedPixel}, {7, 0, kBlendedPixel, "mode 7 kept over"},
                         {8, 0, kCopiedPixel, "the alpha call put copy back"}});
}

TEST(GraphicPrimitivesRenderer, GradientRunsFromGradientEndAtTheBottomRowUpTowardsColour)
{
    Kv::Ptr<CairoImage> image = canvas(2, 6);
    RectDescription gradient = rectOf({0, 1, 1, 5}, NormalisedRGB(1, 0, 0, 0.25f));
    gradient.gradient = 1;
    gradient.gradientEnd = kBlue;
    RectDescription flat = gradient;
    flat.rect = {1, 2, 2, 2};
    draw(image, {gradient, flat});
    // Four rows, f = 0, 1/4, 2/4, 3/4 from the bottom up; alpha is always 1.
    expectPixels(image, {{0, 5, kBlackPixel}, {0, 4, kBluePixel}, {0, 3, {64, 0, 191, 255}},
                         {0, 2, {128, 0, 128, 255}}, {0, 1, {191, 0, 64, 255}}, {0, 0, kBlackPixel}});
    for (int y = 0; y < 6; ++y)
        EXPECT_EQ(pixelAt(image, 1, y), kBlackPixel) << "no height, no rows: " << y;
}

TEST(GraphicPrimitivesRenderer, RoundedRectanglesRoundTheirCornerBitsAndKeepBordersInside)
{
    Kv::Ptr<CairoImage> image = canvas(120, 20, kBlue);
    // Equal colours with a border make an outline alone; the pill, twice its
    // radius high, has semicircular ends around (90, 10) and (110, 10).
    draw(image, {roundedOf({0, 0, 20, 20}, kRed, kRed, 8, 0, RoundedRectDescription::eTopLeft),
                 roundedOf({20, 0, 40, 20}, kGreen, kGreen, 8, 0, RoundedRectDescription::eBottomRight),
                 roundedOf({40, 0, 60, 20}, kRed, kWhite, 0, 2, 0), roundedOf({60, 0, 80, 20}, kGreen, kGreen, 0, 2, 0),
                 roundedOf({80, 0, 120, 20}, kWhite, kWhite, 10, 0, 15)});
    expectPixels(image, {{0, 0, kBluePixel, "round"}, {10, 10, kRedPixel}, {19, 0, kRedPixel, "square"},
                         {0, 19, kRedPixel}, {19, 19, kRedPixel}, {39, 19, kBluePixel, "round"},
                         {20, 0, kGreenPixel}, {39, 0, kGreenPixel}, {20, 19, kGreenPixel},
                         {40, 0, kWhitePixel}, {41, 10, kWhitePixel}, {59, 19, kWhitePixel, "the stroke ends at the edge"},
                         {42, 2, kRedPixel}, {50, 10, kRedPixel}, {60, 0, kGreenPixel}, {79, 19, kGreenPixel},
                         {70, 10, kBluePixel, "an outline leaves the inside"}, {62, 2, kBluePixel},
                         {80, 0, kBluePixel}, {80, 19, kBluePixel}, {119, 0, kBluePixel}, {119, 19, kBluePixel},
                         {81, 2, kBluePixel}, {81, 9, kWhitePixel}, {118, 10, kWhitePixel}, {100, 0, kWhitePixel},
                         {100, 19, kWhitePixel}, {85, 5, kWhitePixel}});
}

TEST(GraphicPrimitivesRenderer, EllipsesFillOutlineBothAndArcsAreOnlyStroked)
{
    Kv::Ptr<CairoImage> image = canvas(60, 20);
    // The arc is a quarter from three o'clock clockwise to six.
    draw(image, {ellipseOf({0, 0, 20, 20}, 2, kRed, 2), ellipseOf({20, 0, 40, 20}, 1, kRed, 2),
                 ellipseOf({40, 0, 60, 20}, 2, kRed, 2, 90)});
    expectPixels(image, {{10, 10, kRedPixel}, {0, 0, kBlackPixel}, {10, 1, kWhitePixel},
                         {30, 10, kBlackPixel, "style 1 does not fill"}, {30, 1, kWhitePixel}, {21, 10, kWhitePixel},
                         {50, 19, kWhitePixel, "six o'clock"}, {59, 10, kWhitePixel, "three o'clock"},
                         {50, 10, kBlackPixel, "never filled"}, {50, 0, kBlackPixel}, {40, 10, kBlackPixel}});

    // An arc of style 0 and an unknown style paint nothing, and the arc's
    // path is not filled by whatever comes next.
    image = canvas(20, 20);
    const std::vector<unsigned char> before = allPixels(image);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        const EllipseDescription records[] = {ellipseOf({0, 0, 20, 20}, 0, kRed, 2, 180), ellipseOf({0, 0, 20, 20}, 3, kRed, 2)};
        renderer->renderMulti(records, 2);
        const AlphaRectDescription nowhere;
        renderer->renderMulti(&nowhere, 1);
    }
    EXPECT_EQ(allPixels(image), before);
}

TEST(GraphicPrimitivesRenderer, AxisLinesAreCrispAndShiftedByHalfTheirWidthAndDashesLeaveNothingBehind)
{
    Kv::Ptr<CairoImage> image = canvas(24, 30);
    draw(image, {lineOf(XY<int>(2, 10), XY<int>(12, 10), kRed), lineOf(XY<int>(16, 2), XY<int>(16, 12), kGreen),
                 lineOf(XY<int>(0, 23), XY<int>(24, 23), kWhite, 1), lineOf(XY<int>(0, 27), XY<int>(24, 27), kWhite)});
    // A width of 2 moves the ends one to the right and one up.
    expectPixels(image, {{3, 8, kRedPixel}, {12, 9, kRedPixel}, {2, 9, kBlackPixel}, {13, 9, kBlackPixel},
                         {7, 10, kBlackPixel}, {7, 7, kBlackPixel}, {16, 5, kGreenPixel}, {17, 5, kGreenPixel},
                         {15, 5, kBlackPixel}, {18, 5, kBlackPixel}});
    // Dashes of 2 on, 2 off from the shifted start at x = 1.
    for (int x = 1; x < 23; ++x) {
        EXPECT_EQ(pixelAt(image, x, 22), ((x - 1) / 2) % 2 == 0 ? kWhitePixel : kBlackPixel) << x;
        EXPECT_EQ(pixelAt(image, x, 26), kWhitePixel) << x;
    }
}

TEST(GraphicPrimitivesRenderer, BezierCurveBulgesUpwardsTowardsItsControlPoints)
{
    Kv::Ptr<CairoImage> image = canvas(20, 20);
    BezierCurveDescription curve;
    curve.start = XY<int>(2, 18);
    curve.end = XY<int>(18, 18);
    curve.control1 = XY<int>(2, 2);
    curve.control2 = XY<int>(18, 2);
    curve.colour = kGreen;
    curve.width = 4;
    draw(image, {curve});
    // The curve's top is at (10, 6), and the stroke is 4 wide across it.
    expectPixels(image, {{10, 5, kGreenPixel}, {9, 6, kGreenPixel}, {10, 2, kBlackPixel},
                         {10, 12, kBlackPixel, "not filled"}, {10, 17, kBlackPixel}});
}

TEST(GraphicPrimitivesRenderer, ImagesFromOtherImagesCopyCutScaleAndBlend)
{
    // 2 by 2: red, green / blue, white at half alpha.
    Kv::Ptr<CairoImage> source = canvas(2, 2, kRed);
    draw(source, {rectOf({1, 0, 2, 1}, kGreen), rectOf({0, 1, 1, 2}, kBlue),
                  rectOf({1, 1, 2, 2}, NormalisedRGB(1, 1, 1, 0.5f))});
    Kv::Ptr<CairoImage> image = canvas(12, 4);
    ImageDescription faded(source, XY<int>(4, 0), {0, 0, 1, 1}, false);
    faded.alpha = 0.5f;
    ImageDescription scaled(source, XY<int>(8, 0), {0, 0, 2, 2}, false);
    scaled.dest = {8, 0, 12, 4};
    ImageDescriptionEx shaded;
    shaded.image = source;
    shaded.dest = {0, 0, 12, 4};
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        renderer->renderMulti(&shaded, 1);
        const ImageDescription records[] = {
            ImageDescription(source, XY<int>(0, 0), {0, 0, 2, 2}, false),
            ImageDescription(Kv::Ptr<iImageBase>(), XY<int>(0, 3), {0, 0, 1, 1}, false),
            ImageDescription(CairoImage::create(XY<int>(0, 0)), XY<int>(0, 3), {0, 0, 1, 1}, false),
            ImageDescription(source, XY<int>(2, 0), {1, 1, 2, 2}, false),
            ImageDescription(source, XY<int>(3, 0), {1, 1, 2, 2}, true), faded, scaled};
        renderer->renderMulti(records, 7);
        const RectDescription copied = rectOf({5, 3, 6, 4}, NormalisedRGB(0, 0, 1, 0.5f));
        renderer->renderMulti(&copied, 1);
    }
    // An image made by size says its pixels are straight, so its stored
    // 128, 128, 128, 128 is read as white at half alpha.
    const Pixel halfWhite{64, 64, 64, 128};
    expectPixels(image, {{0, 0, kRedPixel}, {1, 0, kGreenPixel}, {0, 1, kBluePixel}, {1, 1, halfWhite, "with its alpha"},
                         {0, 3, kBlackPixel, "shader images, null and empty ones draw nothing"},
                         {2, 0, halfWhite, "a cut"}, {3, 0, {64, 64, 64, 255}, "blended over black"},
                         {4, 0, {128, 0, 0, 255}, "alpha below 1 blends"}, {8, 0, kRedPixel, "scaled"},
                         {11, 0, kGreenPixel}, {8, 3, kBluePixel}, {9, 1, kRedPixel, "not interpolated"},
                         {10, 1, kGreenPixel}, {9, 2, kBluePixel}, {5, 3, {0, 0, 128, 128}, "back in copy"}});
}

TEST(GraphicPrimitivesRenderer, ClipOfSeveralRectanglesLimitsEveryDrawingUntilReplacedOrCleared)
{
    Kv::Ptr<CairoImage> image = canvas(12, 12);
    const EllipseDescription ellipse = ellipseOf({0, 0, 12, 12}, 0, kGreen);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        renderer->setClipRegion(Kv::Ptr<iRegion>(new Region(iRegion::Rectangles{{0, 0, 4, 4}, {8, 8, 12, 12}, {8, 0, 10, 2}})));
        const RectDescription everywhere = rectOf({0, 0, 12, 12}, kRed);
        renderer->renderMulti(&everywhere, 1);
        renderer->renderMulti(&ellipse, 1);
        renderer->setClipRegion(Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{4, 4, 6, 6})));
        const RectDescription middle = rectOf({0, 0, 12, 12}, kBlue);
        renderer->renderMulti(&middle, 1);
        renderer->setClipRegion(nullptr);
        const RectDescription corner = rectOf({11, 0, 12, 1}, kWhite);
        renderer->renderMulti(&corner, 1);
    }
    draw(image, {rectOf({0, 11, 1, 12}, kWhite)});
    expectPixels(image, {{0, 0, kRedPixel}, {3, 3, kGreenPixel}, {11, 11, kRedPixel}, {8, 8, kGreenPixel},
                         {8, 1, kGreenPixel}, {10, 1, kBlackPixel}, {6, 2, kBlackPixel}, {2, 9, kBlackPixel},
                         {4, 4, kBluePixel, "a new clip replaces the old"}, {5, 5, kBluePixel}, {6, 6, kBlackPixel},
                         {11, 0, kWhitePixel, "null clears the clip"}, {0, 11, kWhitePixel, "a new renderer has none"}});
}

TEST(GraphicPrimitivesRenderer, AntialiasingOffMakesEdgesHard)
{
    const EllipseDescription disc = ellipseOf({0, 0, 20, 20}, 0, kWhite);
    for (const bool antialiased : {false, true}) {
        Kv::Ptr<CairoImage> image = canvas(20, 20);
        {
            Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
            renderer->setAntialiasingEnabled(antialiased);
            renderer->renderMulti(&disc, 1);
        }
        int partial = 0;
        for (const unsigned char byte : allPixels(image))
            partial += byte != 0 && byte != 255;
        EXPECT_EQ(partial > 0, antialiased);
    }
}

TEST(GraphicPrimitivesRenderer, ImageOfRatioTwoIsDrawnInDevicePixels)
{
    Kv::Ptr<CairoImage> image(new CairoImage(XY<int>(4, 4), 32, 2));
    draw(image, {rectOf({0, 0, 8, 8}, kBlack), rectOf({0, 0, 4, 4}, kRed)});
    expectPixels(image, {{3, 3, kRedPixel}, {4, 4, kBlackPixel}});
}

class GraphicPrimitivesRendererText : public testing::Test
{
protected:
    Kv::Ptr<Font> font{new Font(L"DejaVu Sans", 48, 0, 0)};
    const XY<int> pen{4, 40};
};

TEST_F(GraphicPrimitivesRendererText, SelectionBandLiesUnderItsTextAndUnderlineFollowsTheInk)
{
    const LightweightString<wchar_t> text(L"  xxxx");
    Kv::Ptr<CairoImage> image = canvas(200, 60, kBlue);
    TextDescription record(text, pen, kWhite, TextAlignment(), font);
    record.selectionColour = kRed;
    record.selectionStart = 5;
    record.selectionEnd = 3;
    record.underline = 1;
    draw(image, {record});
    const iFont::Metrics metrics = font->getMetrics();
    const int left = pen.x + font->measure(text, 3).x;
    const int right = left + font->measure(text.substr(3, 2), 0).x;
    const int top = pen.y - metrics.capHeight - 2;
    const int bottom = pen.y + metrics.descent;
    // The band's top row is above the x-height: band colour alone.
    expectPixels(image, {{left, top, kRedPixel}, {right - 1, top, kRedPixel}, {left - 1, top, kBluePixel},
                         {right, top, kBluePixel}, {left, top - 1, kBluePixel}, {left, bottom - 1, kRedPixel},
                         {left, bottom, kBluePixel}});
    int inkInBand = 0;
    for (int x = left; x < right; ++x)
        for (int y = top; y < pen.y; ++y)
            inkInBand += pixelAt(image, x, y) == kWhitePixel;
    EXPECT_GT(inkInBand, 20) << "the text is drawn over its band";

    // The underline starts after the leading spaces and runs to the end.
    const int start = pen.x + 2 * font->measure(L" ", 0).x;
    const int end = pen.x + font->measure(text, 0).x;
    expectPixels(image, {{start, pen.y + 1, kWhitePixel}, {end - 1, pen.y + 1, kWhitePixel},
                         {start - 1, pen.y + 1, kBluePixel}, {end, pen.y + 1, kBluePixel}});
}

TEST_F(GraphicPrimitivesRendererText, AllBandsOfABatchLieUnderAllItsText)
{
    // The second record's band covers the first record's text, yet the text
    // shows: every band is drawn before any text.
    Kv::Ptr<CairoImage> image = canvas(200, 60, kBlue);
    TextDescription second(L"HHH", pen, NormalisedRGB(1, 1, 1, 0), TextAlignment(), font);
    second.selectionColour = kRed;
    second.selectionEnd = 3;
    draw(image, {TextDescription(L"HHH", pen, kWhite, TextAlignment(), font), second});
    int white = 0;
    for (int x = pen.x; x < pen.x + font->measure(L"HHH", 0).x; ++x)
        white += pixelAt(image, x, pen.y - 10) == kWhitePixel;
    EXPECT_GT(white, 3);
}

TEST_F(GraphicPrimitivesRendererText, TextWithoutAFontOrCharactersIsNotDrawn)
{
    Kv::Ptr<CairoImage> image = canvas(100, 50, kBlue);
    const std::vector<unsigned char> before = allPixels(image);
    TextDescription empty(L"", pen, kWhite, TextAlignment(), font);
    empty.selectionEnd = 2;
    empty.underline = 1;
    TextDescription fontless = empty;
    fontless.text = L"xxxx";
    fontless.font = nullptr;
    draw(image, {empty, fontless});
    EXPECT_EQ(allPixels(image), before);
}
