#include "CairoImage.h"
#include "CairoSurfaceWrapper.h"
#include "ImageTestSupport.h"
#include "OS.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace
{
    class CairoImageTest : public ImageScratchFolder
    {
    protected:
        static LightweightString<wchar_t> wide(const std::string& path) { return wideOf(path); }
        std::string writeTwoPixelPng() const { return ImageScratchFolder::writeTwoPixelPng(200); }
    };

    std::vector<int> bytesOf(const unsigned char* pixels, int count)
    {
        return std::vector<int>(pixels, pixels + count);
    }
}

TEST_F(CairoImageTest, RatioTwoKeepsLogicalSizeAndAllocatesDevicePixels)
{
    Kv::Ptr<CairoImage> image(new CairoImage(XY<int>(100, 50), 32, 2));
    EXPECT_EQ(image->getSize(), XY<int>(100, 50));
    EXPECT_EQ(image->getDevicePixelRatio(), 2);
    EXPECT_EQ(CairoImage::getDevicePixelRatio(image), 2);
    EXPECT_EQ(image->getStorage().size, XY<int>(200, 100));

    Kv::Ptr<iPixelGuard> pixels = image->lock();
    ASSERT_TRUE(pixels);
    EXPECT_EQ(pixels->getSize(), XY<int>(200, 100));
    EXPECT_EQ(pixels->getStride(), 800u);

    cairo_surface_t* surface = CairoImage::makeSurface(image);
    ASSERT_NE(surface, nullptr);
    EXPECT_EQ(cairo_image_surface_get_width(surface), 200);
    EXPECT_EQ(cairo_image_surface_get_height(surface), 100);
    cairo_surface_destroy(surface);
}

TEST_F(CairoImageTest, ZeroSizeAndForeignImagesHaveRatioOne)
{
    Kv::Ptr<CairoImage> empty(new CairoImage(XY<int>(0, 0), 32, 2));
    EXPECT_EQ(empty->getDevicePixelRatio(), 1);

    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 4, 4);
    Kv::Ptr<iImageBase> wrapper(new CairoSurfaceWrapper(surface));
    cairo_surface_destroy(surface);
    EXPECT_EQ(CairoImage::getDevicePixelRatio(wrapper), 1);
    EXPECT_EQ(CairoImage::getDevicePixelRatio(Kv::Ptr<iImageBase>()), 1);
}

TEST_F(CairoImageTest, CreatedImagesAre32BitWithGaplessRowsAndRatioOne)
{
    Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(7, 3));
    EXPECT_EQ(image->getBitsPerPixel(), 32u);
    EXPECT_EQ(image->getBitsPerComponent(), 8u);
    EXPECT_EQ(image->getStride(), 28u);
    EXPECT_EQ(image->getLocation(), iImageBase::eHostMemory);
    EXPECT_FALSE(image->isAlphaPreMultiplied());
    EXPECT_EQ(image->getDevicePixelRatio(), 1);

    Kv::Ptr<iImage> compatible = image->createCompatibleImage(XY<int>(5, 6));
    ASSERT_TRUE(compatible);
    EXPECT_EQ(compatible->getSize(), XY<int>(5, 6));
    EXPECT_EQ(compatible->getBitsPerPixel(), 32u);
    EXPECT_EQ(compatible->lock()->getStride(), 20u);
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

TEST_F(CairoImageTest, StorageIsTakenAndGivenBackWhole)
{
    Kv::Ptr<iHostImage> image = CairoImage::create(XY<int>(2, 2));
    iGPUImage::StorageT storage;
    storage.size = XY<int>(9, 8);
    storage.format = iGPUImage::eRGBA16F;
    image->setStorage(storage);
    EXPECT_EQ(image->getStorage().size, XY<int>(9, 8));
    EXPECT_EQ(image->getStorage().format, iGPUImage::eRGBA16F);
}

TEST_F(CairoImageTest, PremultipliedImageSurfaceSharesThePixels)
{
    Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(3, 2));
    image->setAlphaIsPreMultiplied(true);
    Kv::Ptr<iPixelGuard> pixels = image->lock();
    cairo_surface_t* surface = CairoImage::makeSurface(image);
    ASSERT_NE(surface, nullptr);
    EXPECT_EQ(cairo_image_surface_get_data(surface), pixels->getPixels());
    EXPECT_EQ(cairo_image_surface_get_format(surface), CAIRO_FORMAT_ARGB32);

    // The surface keeps the bytes alive on its own.
    unsigned char* shared = pixels->getPixels();
    pixels = nullptr;
    image = nullptr;
    shared[4] = 7;
    EXPECT_EQ(cairo_image_surface_get_data(surface)[4], 7);
    cairo_surface_destroy(surface);
}

TEST_F(CairoImageTest, StraightAlphaSurfaceIsAPremultipliedCopy)
{
    Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(1, 1));
    unsigned char* pixel = image->lock()->getPixels();
    pixel[0] = 200; // B
    pixel[1] = 100; // G
    pixel[2] = 50;  // R
    pixel[3] = 128; // A
    cairo_surface_t* surface = CairoImage::makeSurface(image);
    ASSERT_NE(surface, nullptr);
    EXPECT_NE(cairo_image_surface_get_data(surface), pixel);
    EXPECT_EQ(bytesOf(cairo_image_surface_get_data(surface), 4), (std::vector<int>{100, 50, 25, 128}));
    EXPECT_EQ(bytesOf(pixel, 4), (std::vector<int>{200, 100, 50, 128})) << "the image itself is untouched";
    cairo_surface_destroy(surface);
}

TEST_F(CairoImageTest, DecodedPngBecomesPremultipliedBgraAtFirstLock)
{
    Kv::Ptr<CairoImage> image(new CairoImage(wide(writeTwoPixelPng()), "PNG"));
    EXPECT_EQ(image->getSize(), XY<int>(2, 1));
    EXPECT_TRUE(image->isAlphaPreMultiplied());
    EXPECT_EQ(image->getStorage().size, XY<int>(2, 1));

    Kv::Ptr<iPixelGuard> pixels = image->lock();
    ASSERT_TRUE(pixels);
    EXPECT_EQ(pixels->getSize(), XY<int>(2, 1));
    EXPECT_EQ(pixels->getStride(), 8u);
    EXPECT_EQ(bytesOf(pixels->getPixels(), 8), (std::vector<int>{0, 0, 255, 255, 100, 0, 0, 128}));
    EXPECT_EQ(image->lock()->getPixels(), pixels->getPixels()) << "the conversion happens once";
}

TEST_F(CairoImageTest, UnlockedDecodedImageGivesItsDecodedSurface)
{
    Kv::Ptr<CairoImage> image(new CairoImage(wide(writeTwoPixelPng()), "png"));
    cairo_surface_t* first = CairoImage::makeSurface(image);
    cairo_surface_t* second = CairoImage::makeSurface(image);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);

    // Someone still holds the decoded surface, so the lock draws a copy and
    // the surface handed out stays as it was.
    Kv::Ptr<iPixelGuard> pixels = image->lock();
    EXPECT_NE(pixels->getPixels(), cairo_image_surface_get_data(first));
    EXPECT_EQ(bytesOf(pixels->getPixels(), 8), (std::vector<int>{0, 0, 255, 255, 100, 0, 0, 128}));
    pixels->getPixels()[0] = 9;
    EXPECT_EQ(cairo_image_surface_get_data(first)[0], 0);
    cairo_surface_destroy(first);
    cairo_surface_destroy(second);

    cairo_surface_t* afterLock = CairoImage::makeSurface(image);
    EXPECT_EQ(cairo_image_surface_get_data(afterLock), pixels->getPixels());
    cairo_surface_destroy(afterLock);
}

TEST_F(CairoImageTest, OnlyPngAndJpegFormatsAreRead)
{
    const std::string png = writeTwoPixelPng();
    const std::string tif = folder + "/two.tif";
    std::filesystem::copy_file(png, tif);
    Kv::Ptr<CairoImage> asTiff(new CairoImage(wide(tif), "tif"));
    EXPECT_EQ(asTiff->getSize(), XY<int>(0, 0));
    EXPECT_FALSE(asTiff->lock());
    EXPECT_EQ(Kv::Ptr<CairoImage>(new CairoImage(wide(png), "jpeg"))->getSize(), XY<int>(0, 0));
    EXPECT_EQ(Kv::Ptr<CairoImage>(new CairoImage(wide(folder + "/missing.png"), "png"))->getSize(), XY<int>(0, 0));
}

TEST_F(CairoImageTest, SurfaceWrapperReportsItsSurfaceAndLocksACopyWithSwappedSize)
{
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 3, 2);
    cairo_surface_flush(surface);
    cairo_image_surface_get_data(surface)[0] = 11;
    cairo_surface_mark_dirty(surface);
    Kv::Ptr<iHostImage> wrapper(new CairoSurfaceWrapper(surface));
    cairo_surface_destroy(surface);

    EXPECT_EQ(wrapper->getSize(), XY<int>(3, 2));
    EXPECT_EQ(wrapper->getBitsPerPixel(), 32u);
    EXPECT_EQ(wrapper->getBitsPerComponent(), 8u);
    EXPECT_FALSE(wrapper->isAlphaPreMultiplied());
    wrapper->setAlphaIsPreMultiplied(true);
    EXPECT_FALSE(wrapper->isAlphaPreMultiplied());
    EXPECT_FALSE(wrapper->getPrimitivesRenderer(false));
    EXPECT_FALSE(wrapper->createCompatibleImage(XY<int>(1, 1)));

    Kv::Ptr<iPixelGuard> guard = wrapper->lock();
    ASSERT_TRUE(guard);
    EXPECT_EQ(guard->getSize(), XY<int>(2, 3)) << "height as x, width as y";
    EXPECT_EQ(guard->getStride(), 12u);
    EXPECT_EQ(guard->getPixels()[0], 11);
}
