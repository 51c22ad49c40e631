#include "CairoImage.h"
#include "CairoSurfaceWrapper.h"
#include "ImageTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using CairoImageTest = ImageScratchFolder;

namespace
{
    // Red and blue at half alpha from the two-pixel file, premultiplied BGRA.
    const std::vector<int> kDecodedPixels{0, 0, 255, 255, 100, 0, 0, 128};

    struct Surface
    {
        explicit Surface(Kv::Ptr<iImageBase> image) : surface(CairoImage::makeSurface(image)) {}
        ~Surface() { cairo_surface_destroy(surface); }
        unsigned char* data() const { return cairo_image_surface_get_data(surface); }
        cairo_surface_t* surface;
    };
}

TEST_F(CairoImageTest, SizesAreLogicalAndPixelsAreDevicePixelsWithGaplessRows)
{
    Kv::Ptr<CairoImage> doubled(new CairoImage(XY<int>(100, 50), 32, 2));
    EXPECT_EQ(doubled->getSize(), XY<int>(100, 50));
    EXPECT_EQ(CairoImage::getDevicePixelRatio(doubled), 2);
    EXPECT_EQ(doubled->lock()->getSize(), XY<int>(200, 100));
    EXPECT_EQ(doubled->lock()->getStride(), 800u);
    const Surface surface(doubled);
    EXPECT_EQ(cairo_image_surface_get_width(surface.surface), 200);
    EXPECT_EQ(cairo_image_surface_get_height(surface.surface), 100);

    EXPECT_EQ(Kv::Ptr<CairoImage>(new CairoImage(XY<int>(0, 0), 32, 2))->getDevicePixelRatio(), 1);
    EXPECT_EQ(CairoImage::getDevicePixelRatio(Kv::Ptr<iImageBase>()), 1);
    EXPECT_EQ(CairoImage::create(XY<int>(7, 3))->getStride(), 28u);
    Kv::Ptr<iImage> compatible = doubled->createCompatibleImage(XY<int>(5, 6));
    EXPECT_EQ(compatible->getSize(), XY<int>(5, 6));
    EXPECT_EQ(compatible->lock()->getStride(), 20u) << "ratio 1, whatever the original's";
}

TEST_F(CairoImageTest, ImagesOfFewerThanThirtyTwoBitsHaveNoSurface)
{
    for (const unsigned short bits : {8, 16, 24}) {
        Kv::Ptr<CairoImage> image(new CairoImage(XY<int>(64, 64), bits, 1));
        EXPECT_EQ(CairoImage::makeSurface(image), nullptr) << bits << " bits a pixel";
    }
}

TEST_F(CairoImageTest, LocksShareOneBlockThatOutlivesTheImage)
{
    Kv::Ptr<iHostImage> image = CairoImage::create(XY<int>(2, 2));
    Kv::Ptr<iPixelGuard> first = image->lock();
    Kv::Ptr<iPixelGuard> second = image->lock();
    EXPECT_EQ(first->getPixels(), second->getPixels());
    first->getPixels()[0] = 42;
    image = nullptr;
    EXPECT_EQ(second->getPixels()[0], 42);
}

TEST_F(CairoImageTest, PremultipliedPixelsAreSharedAndStraightOnesPremultipliedIntoACopy)
{
    Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(1, 1));
    unsigned char* pixel = image->lock()->getPixels();
    const std::vector<unsigned char> straight{200, 100, 50, 128};
    std::copy(straight.begin(), straight.end(), pixel);
    {
        const Surface copy(image);
        EXPECT_NE(copy.data(), pixel);
        EXPECT_EQ(bytesOf(copy.data(), 4), (std::vector<int>{100, 50, 25, 128}));
        EXPECT_EQ(bytesOf(pixel, 4), (std::vector<int>{200, 100, 50, 128})) << "the image itself is untouched";
    }

    image->setAlphaIsPreMultiplied(true);
    const Surface shared(image);
    EXPECT_EQ(shared.data(), pixel);
    // The surface keeps the bytes alive on its own.
    image = nullptr;
    pixel[0] = 7;
    EXPECT_EQ(shared.data()[0], 7);
}

TEST_F(CairoImageTest, DecodedPngBecomesPremultipliedPixelsOnceAtItsFirstLock)
{
    Kv::Ptr<CairoImage> image(new CairoImage(wide(writeTwoPixelPng(200)), "PNG"));
    EXPECT_EQ(image->getSize(), XY<int>(2, 1));
    EXPECT_TRUE(image->isAlphaPreMultiplied());

    Kv::Ptr<iPixelGuard> pixels = image->lock();
    EXPECT_EQ(pixels->getStride(), 8u);
    EXPECT_EQ(bytesOf(pixels->getPixels(), 8), kDecodedPixels);
    EXPECT_EQ(image->lock()->getPixels(), pixels->getPixels());
    EXPECT_TRUE(image->getPrimitivesRenderer(false));
}

TEST_F(CairoImageTest, RendererOfADecodedImageDrawsOverItsPixels)
{
    Kv::Ptr<CairoImage> image(new CairoImage(wide(writeTwoPixelPng(200)), "png"));
    {
        Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        ASSERT_TRUE(renderer);
        RectDescription green;
        green.rect = {1, 0, 2, 1};
        green.colour = NormalisedRGB(0, 1, 0, 1);
        renderer->renderMulti(&green, 1);
    }
    EXPECT_EQ(bytesOf(image->lock()->getPixels(), 8), (std::vector<int>{0, 0, 255, 255, 0, 255, 0, 255}));
}

TEST_F(CairoImageTest, UnlockedDecodedImageGivesItsDecodedSurfaceAndALockThenCopiesIt)
{
    Kv::Ptr<CairoImage> image(new CairoImage(wide(writeTwoPixelPng(200)), "png"));
    Kv::Ptr<iPixelGuard> pixels;
    {
        const Surface first(image);
        const Surface second(image);
        ASSERT_NE(first.surface, nullptr);
        EXPECT_EQ(first.surface, second.surface);

        // Someone still holds the decoded surface: the lock draws a copy and
        // the surface handed out stays as it was.
        pixels = image->lock();
        EXPECT_NE(pixels->getPixels(), first.data());
        EXPECT_EQ(bytesOf(pixels->getPixels(), 8), kDecodedPixels);
        pixels->getPixels()[0] = 9;
        EXPECT_EQ(first.data()[0], 0);
    }
    EXPECT_EQ(Surface(image).data(), pixels->getPixels());
}

TEST_F(CairoImageTest, OnlyReadablePngAndJpegFilesGiveAnImage)
{
    const std::string png = writeTwoPixelPng(200);
    std::filesystem::copy_file(path(png), path("two.tif"));
    const struct
    {
        std::string name;
        const char* format;
    } cases[] = {{"two.tif", "tif"}, {png, "jpeg"}, {"missing.png", "png"}};
    for (const auto& unread : cases) {
        SCOPED_TRACE(unread.name + " as " + unread.format);
        Kv::Ptr<CairoImage> image(new CairoImage(wide(unread.name), unread.format));
        EXPECT_EQ(image->getSize(), XY<int>(0, 0));
        const Kv::Ptr<iPixelGuard> pixels = image->lock();
        ASSERT_TRUE(pixels) << "a lock that holds no pixels";
        EXPECT_EQ(pixels->getPixels(), nullptr);
        EXPECT_EQ(pixels->getSize(), XY<int>(0, 0));
    }
}

TEST_F(CairoImageTest, SurfaceWrapperLocksACopyWithSwappedSizeAndCannotDraw)
{
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 3, 2);
    cairo_surface_flush(surface);
    cairo_image_surface_get_data(surface)[0] = 11;
    cairo_surface_mark_dirty(surface);
    Kv::Ptr<iHostImage> wrapper(new CairoSurfaceWrapper(surface));
    cairo_surface_destroy(surface);

    EXPECT_EQ(wrapper->getSize(), XY<int>(3, 2));
    EXPECT_EQ(CairoImage::getDevicePixelRatio(wrapper), 1);
    wrapper->setAlphaIsPreMultiplied(false);
    EXPECT_TRUE(wrapper->isAlphaPreMultiplied()) << "Cairo's own premultiplied pixels";
    EXPECT_EQ(Surface(wrapper).data()[0], 11) << "used as they are, not premultiplied again";
    EXPECT_FALSE(wrapper->getPrimitivesRenderer(false));
    EXPECT_FALSE(wrapper->createCompatibleImage(XY<int>(1, 1)));

    Kv::Ptr<iPixelGuard> guard = wrapper->lock();
    EXPECT_EQ(guard->getSize(), XY<int>(2, 3)) << "height as x, width as y";
    EXPECT_EQ(guard->getStride(), 12u);
    EXPECT_EQ(guard->getPixels()[0], 11);
    guard->getPixels()[0] = 12;
    EXPECT_EQ(wrapper->lock()->getPixels()[0], 11) << "each lock is a copy";
}
