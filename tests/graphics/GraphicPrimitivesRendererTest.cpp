#include "CairoImage.h"
#include "Font.h"
#include "GraphicPrimitives.h"
#include "GraphicPrimitivesRenderer.h"
#include "ImageTestSupport.h"
#include "OS.h"
#include "Region.h"
#include "iImageManager.h"

#include <gtest/gtest.h>
#include <jpeglib.h>
#include <png.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace
{
    // Straight red, green, blue, alpha as stored: bytes B, G, R, A, premultiplied.
    using Pixel = std::array<int, 4>;

    const NormalisedRGB kRed(1, 0, 0);
    const NormalisedRGB kGreen(0, 1, 0);
    const NormalisedRGB kBlue(0, 0, 1);
    const NormalisedRGB kWhite(1, 1, 1);
    const NormalisedRGB kBlack(0, 0, 0);
    const Pixel kRedPixel{255, 0, 0, 255};
    const Pixel kGreenPixel{0, 255, 0, 255};
    const Pixel kBluePixel{0, 0, 255, 255};
    const Pixel kWhitePixel{255, 255, 255, 255};
    const Pixel kBlackPixel{0, 0, 0, 255};

    RectDescription rectOf(const Kv::Rectangle<int>& rect, const NormalisedRGB& colour, unsigned int blendMode = 0)
    {
        RectDescription record;
        record.rect = rect;
        record.colour = colour;
        record.blendMode = blendMode;
        return record;
    }

    class GraphicPrimitivesRendererTest : public ImageScratchFolder
    {
    protected:
        // An image of the size, painted all over in background.
        Kv::Ptr<CairoImage> canvas(int width, int height, const NormalisedRGB& background = kBlack)
        {
            Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(width, height));
            Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
            const RectDescription fill = rectOf({0, 0, width, height}, background);
            renderer->renderMulti(&fill, 1);
            return image;
        }

        static Pixel pixelAt(Kv::Ptr<iHostImage> image, int x, int y)
        {
            Kv::Ptr<iPixelGuard> pixels = image->lock();
            const unsigned char* at = pixels->getPixels() + y * pixels->getStride() + x * 4;
            return {at[2], at[1], at[0], at[3]};
        }

        // Every pixel, to see that something changed nothing.
        static std::vector<unsigned char> allPixels(Kv::Ptr<iHostImage> image)
        {
            Kv::Ptr<iPixelGuard> pixels = image->lock();
            const unsigned char* bytes = pixels->getPixels();
            return std::vector<unsigned char>(bytes, bytes + pixels->getStride() * pixels->getSize().y);
        }

        static LightweightString<wchar_t> wide(const std::string& path) { return wideOf(path); }
        std::string writePng() const { return writeTwoPixelPng(255); }

        // 16 by 8: black on the left half, white on the right, each half one
        // whole block, so that the decoder gives the colours back exactly.
        std::string writeJpeg() const
        {
            const std::string path = this->path("halves.jpg");
            FILE* file = std::fopen(path.c_str(), "wb");
            jpeg_compress_struct compressor;
            jpeg_error_mgr errors;
            compressor.err = jpeg_std_error(&errors);
            jpeg_create_compress(&compressor);
            jpeg_stdio_dest(&compressor, file);
            compressor.image_width = 16;
            compressor.image_height = 8;
            compressor.input_components = 3;
            compressor.in_color_space = JCS_RGB;
            jpeg_set_defaults(&compressor);
            jpeg_set_quality(&compressor, 100, TRUE);
            jpeg_start_compress(&compressor, TRUE);
            std::vector<unsigned char> row(16 * 3, 0);
            std::fill(row.begin() + 8 * 3, row.end(), 255);
            while (compressor.next_scanline < compressor.image_height) {
                JSAMPROW rows[] = {row.data()};
                jpeg_write_scanlines(&compressor, rows, 1);
            }
            jpeg_finish_compress(&compressor);
            jpeg_destroy_compress(&compressor);
            std::fclose(file);
            return path;
        }

    };

    // A font that is not the host's: the 2D renderer cannot draw it.
    class ForeignFont : public iFont
    {
    public:
        Metrics getMetrics() const override { return {10, 3, 14, 11}; }
        unsigned int getStyle() const override { return 0; }
        XY<int> measure(const LightweightString<wchar_t>& text, short) const override
        {
            return XY<int>(int(text.size()) * 8, 14);
        }
        void measure(const LightweightString<wchar_t>&, std::vector<int>&) const override {}
        CharLocation locateCharacter(const LightweightString<wchar_t>&, eCharSeekMethod, unsigned int) const override
        {
            return {0, 0};
        }
        CharLocation getCharacterUnderPixel(const LightweightString<wchar_t>&, unsigned int pixel) const override
        {
            return {0, pixel};
        }
    };
}

TEST_F(GraphicPrimitivesRendererTest, ImagesHandOutA2DRendererOfFixedCaps)
{
    Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(4, 4));
    Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(true);
    ASSERT_TRUE(renderer);
    EXPECT_EQ(renderer->getCaps(), 2937u);
    EXPECT_TRUE(Kv::dynamicCast<GraphicPrimitivesRenderer>(renderer));

    // A decoded image has no pixels to draw into until it is locked.
    const std::string path = writePng();
    Kv::Ptr<CairoImage> decoded(new CairoImage(wide(path), "png"));
    EXPECT_FALSE(decoded->getPrimitivesRenderer(false));
    decoded->lock();
    EXPECT_TRUE(decoded->getPrimitivesRenderer(false));
}

TEST_F(GraphicPrimitivesRendererTest, RectanglesLandTopDownWithTheirCornersExclusive)
{
    Kv::Ptr<CairoImage> image = canvas(10, 10);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        const RectDescription records[] = {rectOf({0, 0, 10, 1}, kGreen), rectOf({2, 3, 6, 8}, kRed),
                                           rectOf({6, 9, 4, 7}, kBlue)};
        renderer->renderMulti(records, 3);
        renderer->renderMulti(records, 0);
    }
    EXPECT_EQ(pixelAt(image, 0, 0), kGreenPixel) << "a record at y = 0 is the first row";
    EXPECT_EQ(pixelAt(image, 9, 0), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 0, 1), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 2, 3), kRedPixel);
    EXPECT_EQ(pixelAt(image, 5, 7), kRedPixel);
    EXPECT_EQ(pixelAt(image, 6, 3), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 2, 8), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 1, 3), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 2, 2), kBlackPixel);
    // Swapped corners: the flip goes by left and bottom, and the absolute size.
    EXPECT_EQ(pixelAt(image, 6, 5), kBluePixel);
    EXPECT_EQ(pixelAt(image, 7, 6), kBluePixel);
    EXPECT_EQ(pixelAt(image, 8, 6), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 6, 7), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 4, 8), kBlackPixel);
}

TEST_F(GraphicPrimitivesRendererTest, RectanglesCopyUnlessBlendModeOneAndCopyIsBackAfterEveryCall)
{
    Kv::Ptr<CairoImage> image = canvas(4, 1, kBlue);
    const NormalisedRGB halfRed(1, 0, 0, 0.5f);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        const RectDescription records[] = {rectOf({0, 0, 1, 1}, halfRed, 0), rectOf({1, 0, 2, 1}, halfRed, 1),
                                           rectOf({2, 0, 3, 1}, halfRed, 2)};
        renderer->renderMulti(records, 3);
        // Ended on a blending record: the next call still starts in copy.
        const RectDescription blended[] = {rectOf({0, 0, 0, 0}, halfRed, 1)};
        renderer->renderMulti(blended, 1);
        AlphaRectDescription alpha;
        alpha.rect = {3, 0, 4, 1};
        alpha.colour = kGreen;
        alpha.alphaMode = 2;
        renderer->renderMulti(&alpha, 1);
        const RectDescription copied = rectOf({3, 0, 4, 1}, NormalisedRGB(0, 1, 0, 0.5f));
        renderer->renderMulti(&copied, 1);
    }
    EXPECT_EQ(pixelAt(image, 0, 0), (Pixel{128, 0, 0, 128})) << "copy replaces colour and alpha, premultiplied";
    EXPECT_EQ(pixelAt(image, 1, 0), (Pixel{128, 0, 127, 255})) << "blend mode 1 is over";
    EXPECT_EQ(pixelAt(image, 2, 0), (Pixel{128, 0, 0, 128})) << "any other mode copies";
    EXPECT_EQ(pixelAt(image, 3, 0), (Pixel{0, 128, 0, 128}));
}

TEST_F(GraphicPrimitivesRendererTest, GradientRunsFromGradientEndAtTheBottomRowUpTowardsColour)
{
    Kv::Ptr<CairoImage> image = canvas(2, 6);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        RectDescription gradient = rectOf({0, 1, 1, 5}, NormalisedRGB(1, 0, 0, 0.25f));
        gradient.gradient = 1;
        gradient.gradientEnd = kBlue;
        RectDescription flat = gradient;
        flat.rect = {1, 2, 2, 2};
        flat.colour = kWhite;
        const RectDescription records[] = {gradient, flat};
        renderer->renderMulti(records, 2);
    }
    // Four rows, f = 0, 1/4, 2/4, 3/4 from the bottom up; alpha is always 1.
    EXPECT_EQ(pixelAt(image, 0, 4), kBluePixel);
    EXPECT_EQ(pixelAt(image, 0, 3), (Pixel{64, 0, 191, 255}));
    EXPECT_EQ(pixelAt(image, 0, 2), (Pixel{128, 0, 128, 255}));
    EXPECT_EQ(pixelAt(image, 0, 1), (Pixel{191, 0, 64, 255}));
    EXPECT_EQ(pixelAt(image, 0, 0), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 0, 5), kBlackPixel);
    // No height, no rows.
    for (int y = 0; y < 6; ++y)
        EXPECT_EQ(pixelAt(image, 1, y), kBlackPixel) << y;
}

TEST_F(GraphicPrimitivesRendererTest, RoundedRectanglesRoundOnlyTheirCornerBits)
{
    Kv::Ptr<CairoImage> image = canvas(40, 20);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        RoundedRectDescription topLeftOnly;
        topLeftOnly.rect = {0, 0, 20, 20};
        topLeftOnly.fill = topLeftOnly.border = kRed;
        topLeftOnly.radius = 8;
        topLeftOnly.corners = RoundedRectDescription::eTopLeft;
        RoundedRectDescription bottomRightOnly = topLeftOnly;
        bottomRightOnly.rect = {20, 0, 40, 20};
        bottomRightOnly.fill = bottomRightOnly.border = kGreen;
        bottomRightOnly.corners = RoundedRectDescription::eBottomRight;
        const RoundedRectDescription records[] = {topLeftOnly, bottomRightOnly};
        renderer->renderMulti(records, 2);
    }
    EXPECT_EQ(pixelAt(image, 0, 0), kBlackPixel) << "round top left";
    EXPECT_EQ(pixelAt(image, 10, 10), kRedPixel);
    EXPECT_EQ(pixelAt(image, 19, 0), kRedPixel) << "square top right";
    EXPECT_EQ(pixelAt(image, 0, 19), kRedPixel) << "square bottom left";
    EXPECT_EQ(pixelAt(image, 19, 19), kRedPixel) << "square bottom right";
    EXPECT_EQ(pixelAt(image, 39, 19), kBlackPixel) << "round bottom right";
    EXPECT_EQ(pixelAt(image, 20, 0), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 39, 0), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 20, 19), kGreenPixel);
}

TEST_F(GraphicPrimitivesRendererTest, RoundedRectangleBordersStayInsideAndEqualColoursLeaveTheInsideClear)
{
    Kv::Ptr<CairoImage> image = canvas(40, 40, kBlue);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        RoundedRectDescription framed;
        framed.rect = {0, 0, 20, 20};
        framed.fill = kRed;
        framed.border = kWhite;
        framed.borderWidth = 2;
        RoundedRectDescription outline = framed;
        outline.rect = {20, 0, 40, 20};
        outline.fill = outline.border = kGreen;
        const RoundedRectDescription records[] = {framed, outline};
        renderer->renderMulti(records, 2);
    }
    EXPECT_EQ(pixelAt(image, 0, 0), kWhitePixel);
    EXPECT_EQ(pixelAt(image, 1, 10), kWhitePixel);
    EXPECT_EQ(pixelAt(image, 19, 19), kWhitePixel) << "the stroke ends at the rectangle's edge";
    EXPECT_EQ(pixelAt(image, 2, 2), kRedPixel);
    EXPECT_EQ(pixelAt(image, 10, 10), kRedPixel);
    EXPECT_EQ(pixelAt(image, 10, 20), kBluePixel);

    EXPECT_EQ(pixelAt(image, 20, 0), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 39, 19), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 30, 10), kBluePixel) << "an outline alone";
    EXPECT_EQ(pixelAt(image, 22, 2), kBluePixel);
}

TEST_F(GraphicPrimitivesRendererTest, RoundedRectangleTwiceItsRadiusHighHasSemicircularEnds)
{
    Kv::Ptr<CairoImage> image = canvas(40, 20);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        RoundedRectDescription pill;
        pill.rect = {0, 0, 40, 20};
        pill.fill = pill.border = kWhite;
        pill.radius = 10;
        pill.corners = 15;
        renderer->renderMulti(&pill, 1);
    }
    // Each end is the half disc of radius 10 around (10, 10) and (30, 10).
    for (const XY<int>& outside : {XY<int>(0, 0), XY<int>(0, 19), XY<int>(39, 0), XY<int>(39, 19), XY<int>(1, 2)})
        EXPECT_EQ(pixelAt(image, outside.x, outside.y), kBlackPixel) << outside.x << ", " << outside.y;
    for (const XY<int>& inside : {XY<int>(1, 9), XY<int>(38, 10), XY<int>(20, 0), XY<int>(20, 19), XY<int>(5, 5)})
        EXPECT_EQ(pixelAt(image, inside.x, inside.y), kWhitePixel) << inside.x << ", " << inside.y;
}

TEST_F(GraphicPrimitivesRendererTest, EllipsesFillOutlineAndArcsAreOnlyStroked)
{
    Kv::Ptr<CairoImage> image = canvas(60, 20);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        EllipseDescription filled;
        filled.rect = {0, 0, 20, 20};
        filled.fill = kRed;
        filled.outline = kWhite;
        filled.lineWidth = 2;
        filled.endAngle = 360;
        filled.style = 2;
        EllipseDescription outlined = filled;
        outlined.rect = {20, 0, 40, 20};
        outlined.style = 1;
        // A quarter from three o'clock clockwise to six.
        EllipseDescription arc = filled;
        arc.rect = {40, 0, 60, 20};
        arc.endAngle = 90;
        arc.style = 2;
        const EllipseDescription records[] = {filled, outlined, arc};
        renderer->renderMulti(records, 3);
    }
    EXPECT_EQ(pixelAt(image, 10, 10), kRedPixel);
    EXPECT_EQ(pixelAt(image, 0, 0), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 10, 1), kWhitePixel);
    EXPECT_EQ(pixelAt(image, 30, 10), kBlackPixel) << "style 1 does not fill";
    EXPECT_EQ(pixelAt(image, 30, 1), kWhitePixel);
    EXPECT_EQ(pixelAt(image, 21, 10), kWhitePixel);
    // The arc's circle has radius 10 around (50, 10); its stroke is 2 wide.
    EXPECT_EQ(pixelAt(image, 50, 19), kWhitePixel) << "six o'clock";
    EXPECT_EQ(pixelAt(image, 59, 10), kWhitePixel) << "three o'clock";
    EXPECT_EQ(pixelAt(image, 50, 10), kBlackPixel) << "an arc is never filled";
    EXPECT_EQ(pixelAt(image, 50, 0), kBlackPixel) << "twelve o'clock";
    EXPECT_EQ(pixelAt(image, 40, 10), kBlackPixel) << "nine o'clock";
}

TEST_F(GraphicPrimitivesRendererTest, ArcOfStyleZeroAndUnknownStylesPaintNothing)
{
    Kv::Ptr<CairoImage> image = canvas(20, 20);
    const std::vector<unsigned char> before = allPixels(image);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        EllipseDescription arc;
        arc.rect = {0, 0, 20, 20};
        arc.fill = arc.outline = kWhite;
        arc.lineWidth = 2;
        arc.endAngle = 180;
        EllipseDescription unknown = arc;
        unknown.endAngle = 360;
        unknown.style = 3;
        const EllipseDescription records[] = {arc, unknown};
        renderer->renderMulti(records, 2);
        // The arc's path went to waste: it is not filled by what comes next.
        AlphaRectDescription elsewhere;
        elsewhere.rect = {0, 0, 0, 0};
        renderer->renderMulti(&elsewhere, 1);
    }
    EXPECT_EQ(allPixels(image), before);
}

TEST_F(GraphicPrimitivesRendererTest, LinesAlongAnAxisAreCrispAndShiftedByHalfTheirWidth)
{
    Kv::Ptr<CairoImage> image = canvas(20, 20);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        LineDescription horizontal;
        horizontal.start = XY<int>(2, 10);
        horizontal.end = XY<int>(12, 10);
        horizontal.colour = horizontal.colour2 = kRed;
        horizontal.width = 2;
        LineDescription vertical = horizontal;
        vertical.start = XY<int>(16, 2);
        vertical.end = XY<int>(16, 12);
        vertical.colour = kGreen;
        const LineDescription records[] = {horizontal, vertical};
        renderer->renderMulti(records, 2);
    }
    // A width of 2 moves the ends one to the right and one up.
    EXPECT_EQ(pixelAt(image, 3, 8), kRedPixel);
    EXPECT_EQ(pixelAt(image, 12, 9), kRedPixel);
    EXPECT_EQ(pixelAt(image, 2, 9), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 13, 9), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 7, 10), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 7, 7), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 16, 5), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 17, 5), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 15, 5), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 18, 5), kBlackPixel);
}

TEST_F(GraphicPrimitivesRendererTest, DashedLineAlternatesAndLeavesNoDashBehind)
{
    Kv::Ptr<CairoImage> image = canvas(24, 10);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        LineDescription dashed;
        dashed.start = XY<int>(0, 3);
        dashed.end = XY<int>(24, 3);
        dashed.colour = dashed.colour2 = kWhite;
        dashed.width = 2;
        dashed.style = 1;
        renderer->renderMulti(&dashed, 1);
        LineDescription solid = dashed;
        solid.start = XY<int>(0, 7);
        solid.end = XY<int>(24, 7);
        solid.style = 0;
        renderer->renderMulti(&solid, 1);
    }
    // Dashes of 2 on, 2 off from the shifted start at x = 1.
    for (int x = 1; x < 23; ++x)
        EXPECT_EQ(pixelAt(image, x, 2), ((x - 1) / 2) % 2 == 0 ? kWhitePixel : kBlackPixel) << x;
    for (int x = 1; x < 23; ++x)
        EXPECT_EQ(pixelAt(image, x, 6), kWhitePixel) << x;
}

TEST_F(GraphicPrimitivesRendererTest, AlphaRectanglesBlendByModeAndOtherModesKeepTheLastOne)
{
    Kv::Ptr<CairoImage> image = canvas(5, 1, kBlue);
    const NormalisedRGB halfRed(1, 0, 0, 0.5f);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        AlphaRectDescription records[5];
        const int modes[] = {7, 0, 1, 2, 7};
        for (int index = 0; index < 5; ++index) {
            records[index].rect = {index, 0, index + 1, 1};
            records[index].colour = halfRed;
            records[index].alphaMode = modes[index];
        }
        renderer->renderMulti(records, 5);
    }
    const Pixel copied{128, 0, 0, 128};
    const Pixel blended{128, 0, 127, 255};
    EXPECT_EQ(pixelAt(image, 0, 0), copied) << "the resting mode is copy";
    EXPECT_EQ(pixelAt(image, 1, 0), copied);
    EXPECT_EQ(pixelAt(image, 2, 0), copied);
    EXPECT_EQ(pixelAt(image, 3, 0), blended);
    EXPECT_EQ(pixelAt(image, 4, 0), blended) << "mode 7 keeps the one before";
}

TEST_F(GraphicPrimitivesRendererTest, BezierCurveBulgesUpwardsTowardsItsControlPoints)
{
    Kv::Ptr<CairoImage> image = canvas(20, 20);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        BezierCurveDescription curve;
        curve.start = XY<int>(2, 18);
        curve.end = XY<int>(18, 18);
        curve.control1 = XY<int>(2, 2);
        curve.control2 = XY<int>(18, 2);
        curve.colour = kGreen;
        curve.width = 4;
        renderer->renderMulti(&curve, 1);
    }
    // The curve's top is at (10, 6), and the stroke is 4 wide across it.
    EXPECT_EQ(pixelAt(image, 10, 5), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 9, 6), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 10, 2), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 10, 12), kBlackPixel) << "not filled";
    EXPECT_EQ(pixelAt(image, 10, 17), kBlackPixel);
}

TEST_F(GraphicPrimitivesRendererTest, ImagesFromOtherImagesCopyCutScaleAndBlend)
{
    // 2 by 2: red, green / blue, white at half alpha.
    Kv::Ptr<CairoImage> source = canvas(2, 2, kRed);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = source->getPrimitivesRenderer(false);
        const RectDescription records[] = {rectOf({1, 0, 2, 1}, kGreen), rectOf({0, 1, 1, 2}, kBlue),
                                           rectOf({1, 1, 2, 2}, NormalisedRGB(1, 1, 1, 0.5f))};
        renderer->renderMulti(records, 3);
    }
    Kv::Ptr<CairoImage> image = canvas(12, 4);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        ImageDescription whole(source, XY<int>(0, 0), {0, 0, 2, 2}, false);
        ImageDescription cut(source, XY<int>(2, 0), {1, 1, 2, 2}, false);
        ImageDescription blended(source, XY<int>(3, 0), {1, 1, 2, 2}, true);
        ImageDescription faded(source, XY<int>(4, 0), {0, 0, 1, 1}, false);
        faded.alpha = 0.5f;
        ImageDescription scaled(source, XY<int>(8, 0), {0, 0, 2, 2}, false);
        scaled.dest = {8, 0, 12, 4};
        ImageDescription missing(Kv::Ptr<iImageBase>(), XY<int>(0, 3), {0, 0, 1, 1}, false);
        ImageDescription empty(CairoImage::create(XY<int>(0, 0)), XY<int>(0, 3), {0, 0, 1, 1}, false);
        ImageDescriptionEx shaded;
        shaded.image = source;
        shaded.dest = {0, 0, 12, 4};
        renderer->renderMulti(&shaded, 1);
        const ImageDescription records[] = {whole, missing, empty, cut, blended, faded, scaled};
        renderer->renderMulti(records, 7);
        // Back in copy afterwards.
        const RectDescription copied = rectOf({5, 3, 6, 4}, NormalisedRGB(0, 0, 1, 0.5f));
        renderer->renderMulti(&copied, 1);
    }
    EXPECT_EQ(pixelAt(image, 0, 0), kRedPixel);
    EXPECT_EQ(pixelAt(image, 1, 0), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 0, 1), kBluePixel);
    // An image made by size says its pixels are straight, so its stored
    // 128, 128, 128, 128 is read as white at half alpha.
    EXPECT_EQ(pixelAt(image, 1, 1), (Pixel{64, 64, 64, 128})) << "copied with its alpha";
    EXPECT_EQ(pixelAt(image, 0, 3), kBlackPixel) << "skipped records draw nothing";
    EXPECT_EQ(pixelAt(image, 2, 0), (Pixel{64, 64, 64, 128})) << "a cut";
    EXPECT_EQ(pixelAt(image, 3, 0), (Pixel{64, 64, 64, 255})) << "blended over black";
    EXPECT_EQ(pixelAt(image, 4, 0), (Pixel{128, 0, 0, 255})) << "alpha below 1 blends";
    EXPECT_EQ(pixelAt(image, 8, 0), kRedPixel) << "scaled to its destination";
    EXPECT_EQ(pixelAt(image, 11, 0), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 8, 3), kBluePixel);
    EXPECT_EQ(pixelAt(image, 5, 3), (Pixel{0, 0, 128, 128}));
}

TEST_F(GraphicPrimitivesRendererTest, DecodedPngAndJpegImagesDrawTheirPixels)
{
    Kv::Ptr<iHostImage> png = OS()->imageManager()->loadImage(wide(writePng()), "png");
    Kv::Ptr<iHostImage> jpeg = OS()->imageManager()->loadImage(wide(writeJpeg()), "jpeg");
    ASSERT_TRUE(png);
    ASSERT_TRUE(jpeg);
    Kv::Ptr<CairoImage> image = canvas(16, 10, kGreen);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        const ImageDescription records[] = {ImageDescription(png, XY<int>(0, 0), {0, 0, 2, 1}, false),
                                            ImageDescription(jpeg, XY<int>(0, 2), {0, 0, 16, 8}, false)};
        renderer->renderMulti(records, 2);
    }
    EXPECT_EQ(pixelAt(image, 0, 0), kRedPixel);
    EXPECT_EQ(pixelAt(image, 1, 0), (Pixel{0, 0, 128, 128})) << "copied, premultiplied";
    EXPECT_EQ(pixelAt(image, 2, 0), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 0, 2), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 7, 9), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 8, 2), kWhitePixel);
    EXPECT_EQ(pixelAt(image, 15, 9), kWhitePixel);
    EXPECT_EQ(pixelAt(image, 0, 1), kGreenPixel);
}

TEST_F(GraphicPrimitivesRendererTest, ClipOfSeveralRectanglesLimitsEveryDrawingUntilCleared)
{
    Kv::Ptr<CairoImage> image = canvas(12, 12);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        const iRegion::Rectangles rectangles{{0, 0, 4, 4}, {8, 8, 12, 12}, {8, 0, 10, 2}};
        renderer->setClipRegion(Kv::Ptr<iRegion>(new Region(rectangles)));
        const RectDescription everywhere = rectOf({0, 0, 12, 12}, kRed);
        renderer->renderMulti(&everywhere, 1);
        EllipseDescription ellipse;
        ellipse.rect = {0, 0, 12, 12};
        ellipse.fill = kGreen;
        ellipse.endAngle = 360;
        renderer->renderMulti(&ellipse, 1);

        renderer->setClipRegion(Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{4, 4, 6, 6})));
        const RectDescription middle = rectOf({0, 0, 12, 12}, kBlue);
        renderer->renderMulti(&middle, 1);
    }
    EXPECT_EQ(pixelAt(image, 0, 0), kRedPixel);
    EXPECT_EQ(pixelAt(image, 3, 3), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 11, 11), kRedPixel);
    EXPECT_EQ(pixelAt(image, 8, 8), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 8, 1), kGreenPixel);
    EXPECT_EQ(pixelAt(image, 10, 1), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 6, 2), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 2, 9), kBlackPixel);
    EXPECT_EQ(pixelAt(image, 4, 4), kBluePixel) << "a new clip replaces the old";
    EXPECT_EQ(pixelAt(image, 5, 5), kBluePixel);
    EXPECT_EQ(pixelAt(image, 6, 6), kBlackPixel);

    // Null clears the clip, and a new renderer starts without one.
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        renderer->setClipRegion(Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{0, 0, 1, 1})));
        renderer->setClipRegion(nullptr);
        const RectDescription corner = rectOf({11, 0, 12, 1}, kWhite);
        renderer->renderMulti(&corner, 1);
    }
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        const RectDescription corner = rectOf({0, 11, 1, 12}, kWhite);
        renderer->renderMulti(&corner, 1);
    }
    EXPECT_EQ(pixelAt(image, 11, 0), kWhitePixel);
    EXPECT_EQ(pixelAt(image, 0, 11), kWhitePixel);
}

TEST_F(GraphicPrimitivesRendererTest, AntialiasingOffMakesEdgesHard)
{
    Kv::Ptr<CairoImage> image = canvas(20, 20);
    EllipseDescription disc;
    disc.rect = {0, 0, 20, 20};
    disc.fill = kWhite;
    disc.endAngle = 360;
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        renderer->setAntialiasingEnabled(false);
        renderer->renderMulti(&disc, 1);
    }
    for (const unsigned char byte : allPixels(image))
        EXPECT_TRUE(byte == 0 || byte == 255);

    image = canvas(20, 20);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        renderer->renderMulti(&disc, 1);
    }
    int partial = 0;
    for (const unsigned char byte : allPixels(image))
        partial += byte != 0 && byte != 255;
    EXPECT_GT(partial, 0);
}

TEST_F(GraphicPrimitivesRendererTest, ImageOfRatioTwoIsDrawnInDevicePixels)
{
    Kv::Ptr<CairoImage> image(new CairoImage(XY<int>(4, 4), 32, 2));
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        const RectDescription records[] = {rectOf({0, 0, 8, 8}, kBlack), rectOf({0, 0, 4, 4}, kRed)};
        renderer->renderMulti(records, 2);
    }
    EXPECT_EQ(pixelAt(image, 3, 3), kRedPixel);
    EXPECT_EQ(pixelAt(image, 4, 4), kBlackPixel);
}

class GraphicPrimitivesRendererTextTest : public GraphicPrimitivesRendererTest
{
protected:
    Kv::Ptr<Font> font{new Font(L"DejaVu Sans", 48, 0, 0)};
};

TEST_F(GraphicPrimitivesRendererTextTest, SelectionBandLiesUnderItsTextAndUnderlineFollowsTheInk)
{
    const LightweightString<wchar_t> text(L"  xxxx");
    const XY<int> pen(4, 40);
    Kv::Ptr<CairoImage> image = canvas(200, 60, kBlue);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        TextDescription record(text, pen, kWhite, TextAlignment(), font);
        record.selectionColour = kRed;
        record.selectionStart = 5;
        record.selectionEnd = 3;
        record.underline = 1;
        renderer->renderMulti(&record, 1);
    }
    const iFont::Metrics metrics = font->getMetrics();
    const int bandLeft = pen.x + font->measure(text, 3).x;
    const int bandRight = bandLeft + font->measure(text.substr(3, 2), 0).x;
    const int bandTop = pen.y - metrics.capHeight - 2;
    // The band's top rows are above the x-height: band colour alone.
    EXPECT_EQ(pixelAt(image, bandLeft, bandTop), kRedPixel);
    EXPECT_EQ(pixelAt(image, bandRight - 1, bandTop), kRedPixel);
    EXPECT_EQ(pixelAt(image, bandLeft - 1, bandTop), kBluePixel);
    EXPECT_EQ(pixelAt(image, bandRight, bandTop), kBluePixel);
    EXPECT_EQ(pixelAt(image, bandLeft, bandTop - 1), kBluePixel);
    EXPECT_EQ(pixelAt(image, bandLeft, pen.y + metrics.descent - 1), kRedPixel);
    EXPECT_EQ(pixelAt(image, bandLeft, pen.y + metrics.descent), kBluePixel);

    // The text is drawn over the band: fully inked pixels inside it are white.
    int inkInBand = 0;
    for (int x = bandLeft; x < bandRight; ++x)
        for (int y = bandTop; y < pen.y; ++y)
            inkInBand += pixelAt(image, x, y) == kWhitePixel;
    EXPECT_GT(inkInBand, 20);

    // The underline starts after the leading spaces and runs to the end.
    const int spaceWidth = font->measure(L" ", 0).x;
    const int fullWidth = font->measure(text, 0).x;
    const int underlineRow = pen.y + 1;
    EXPECT_EQ(pixelAt(image, pen.x + 2 * spaceWidth, underlineRow), kWhitePixel);
    EXPECT_EQ(pixelAt(image, pen.x + fullWidth - 1, underlineRow), kWhitePixel);
    EXPECT_EQ(pixelAt(image, pen.x + 2 * spaceWidth - 1, underlineRow), kBluePixel);
    EXPECT_EQ(pixelAt(image, pen.x + fullWidth, underlineRow), kBluePixel);
}

TEST_F(GraphicPrimitivesRendererTextTest, AllBandsOfABatchLieUnderAllItsText)
{
    // The second record's band covers the first record's text, yet the text
    // shows: every band is drawn before any text.
    const XY<int> pen(4, 40);
    Kv::Ptr<CairoImage> image = canvas(200, 60, kBlue);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        TextDescription first(L"HHH", pen, kWhite, TextAlignment(), font);
        TextDescription second(L"HHH", pen, kBlack, TextAlignment(), font);
        second.selectionColour = kRed;
        second.selectionEnd = 3;
        second.colour = NormalisedRGB(1, 1, 1, 0);
        const TextDescription records[] = {first, second};
        renderer->renderMulti(records, 2);
    }
    int white = 0;
    for (int x = pen.x; x < pen.x + font->measure(L"HHH", 0).x; ++x)
        white += pixelAt(image, x, pen.y - 10) == kWhitePixel;
    EXPECT_GT(white, 3);
}

TEST_F(GraphicPrimitivesRendererTextTest, TextWithoutAHostFontOrCharactersIsNotDrawn)
{
    Kv::Ptr<CairoImage> image = canvas(100, 50, kBlue);
    const std::vector<unsigned char> before = allPixels(image);
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        TextDescription foreign(L"xxxx", XY<int>(4, 40), kWhite, TextAlignment(), Kv::Ptr<iFont>(new ForeignFont));
        foreign.selectionEnd = 2;
        foreign.underline = 1;
        TextDescription empty(L"", XY<int>(4, 40), kWhite, TextAlignment(), font);
        empty.selectionEnd = 2;
        empty.underline = 1;
        TextDescription fontless(L"xxxx", XY<int>(4, 40), kWhite, TextAlignment(), Kv::Ptr<iFont>());
        const TextDescription records[] = {foreign, empty, fontless};
        renderer->renderMulti(records, 3);
    }
    EXPECT_EQ(allPixels(image), before);
}
