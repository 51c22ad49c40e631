#include "CairoImage.h"
#include "ImageTestSupport.h"
#include "OS.h"

#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace
{
    class ImageManagerTest : public ImageScratchFolder
    {
    protected:
        // A name in the scratch folder, in the library's wide form.
        LightweightString<wchar_t> wide(const std::string& name) const { return wideOf(path(name)); }

        // Premultiplied B, G, R, A: opaque red, half-transparent blue, clear,
        // then a gradient for the lossy format.
        Kv::Ptr<iHostImage> sampleImage(int width = 4, int height = 3) const
        {
            Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(width, height));
            image->setAlphaIsPreMultiplied(true);
            unsigned char* pixels = image->lock()->getPixels();
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    unsigned char* pixel = pixels + (y * width + x) * 4;
                    pixel[0] = static_cast<unsigned char>(x * 40);
                    pixel[1] = static_cast<unsigned char>(y * 60);
                    pixel[2] = 90;
                    pixel[3] = 255;
                }
            const unsigned char red[] = {0, 0, 255, 255};
            const unsigned char blue[] = {100, 0, 0, 128};
            const unsigned char clear[] = {0, 0, 0, 0};
            std::copy(red, red + 4, pixels);
            std::copy(blue, blue + 4, pixels + 4);
            std::copy(clear, clear + 4, pixels + 8);
            return image;
        }

        std::vector<unsigned char> fileBytes(const std::string& name) const
        {
            std::ifstream file(path(name), std::ios::binary);
            return std::vector<unsigned char>(std::istreambuf_iterator<char>(file), {});
        }
        void writeBytes(const std::string& name, const std::vector<unsigned char>& bytes) const
        {
            std::ofstream file(path(name), std::ios::binary);
            file.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        }

        // What loadImage prints, and whether it gave an image.
        std::string loadFails(const std::string& name, const char* format) const
        {
            testing::internal::CaptureStdout();
            Kv::Ptr<iHostImage> image = manager->loadImage(wide(name), format);
            const std::string printed = testing::internal::GetCapturedStdout();
            EXPECT_FALSE(image) << name;
            return printed;
        }

        iImageManager* manager = OS()->imageManager();
    };

    std::vector<int> bytesOf(const unsigned char* pixels, int count)
    {
        return std::vector<int>(pixels, pixels + count);
    }

    unsigned int little(const std::vector<unsigned char>& bytes, std::size_t offset, int width)
    {
        unsigned int value = 0;
        for (int byte = width - 1; byte >= 0; --byte)
            value = value << 8 | bytes[offset + byte];
        return value;
    }
}

TEST_F(ImageManagerTest, PngRoundTripKeepsEveryPremultipliedByte)
{
    Kv::Ptr<iHostImage> image = sampleImage();
    ASSERT_TRUE(manager->saveImage(image, wide("sample.png"), -1));
    Kv::Ptr<iHostImage> loaded = manager->loadImage(wide("sample.png"), "png");
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->getSize(), XY<int>(4, 3));
    EXPECT_TRUE(loaded->isAlphaPreMultiplied());
    EXPECT_EQ(bytesOf(loaded->lock()->getPixels(), 48), bytesOf(image->lock()->getPixels(), 48));
}

TEST_F(ImageManagerTest, PngStoresStraightAlpha)
{
    ASSERT_TRUE(manager->saveImage(sampleImage(), wide("straight.png"), 50));
    png_image png {};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&png, path("straight.png").c_str()));
    png.format = PNG_FORMAT_RGBA;
    std::vector<unsigned char> rgba(PNG_IMAGE_SIZE(png));
    ASSERT_TRUE(png_image_finish_read(&png, nullptr, rgba.data(), 0, nullptr));
    EXPECT_EQ(bytesOf(rgba.data(), 12), (std::vector<int>{255, 0, 0, 255, 0, 0, 199, 128, 0, 0, 0, 0}));
}

TEST_F(ImageManagerTest, JpegRoundTripIsCloseAndOpaque)
{
    // Smooth, so that chroma subsampling has no edge to blur.
    Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(16, 16));
    image->setAlphaIsPreMultiplied(true);
    unsigned char* pixels = image->lock()->getPixels();
    for (int offset = 0; offset < 16 * 16 * 4; offset += 4) {
        pixels[offset] = static_cast<unsigned char>(offset / 4 % 16 * 8);
        pixels[offset + 1] = static_cast<unsigned char>(offset / 64 * 8);
        pixels[offset + 2] = 90;
        pixels[offset + 3] = 255;
    }
    ASSERT_TRUE(manager->saveImage(image, wide("sample.JPG"), 100));
    Kv::Ptr<iHostImage> loaded = manager->loadImage(wide("sample.JPG"), "JPG");
    ASSERT_TRUE(loaded);
    ASSERT_EQ(loaded->getSize(), XY<int>(16, 16));
    const unsigned char* before = image->lock()->getPixels();
    const unsigned char* after = loaded->lock()->getPixels();
    for (int offset = 0; offset < 16 * 16 * 4; offset += 4) {
        for (int component = 0; component < 3; ++component)
            EXPECT_NEAR(after[offset + component], before[offset + component], 6) << offset + component;
        EXPECT_EQ(after[offset + 3], 255);
    }
}

TEST_F(ImageManagerTest, JpegQualityOutsideOneToHundredLeavesTheDefault)
{
    Kv::Ptr<iHostImage> image = sampleImage(64, 64);
    for (int quality : {0, 75, 101, 100, 5})
        ASSERT_TRUE(manager->saveImage(image, wide("q" + std::to_string(quality) + ".jpeg"), quality));
    EXPECT_EQ(fileBytes("q0.jpeg"), fileBytes("q75.jpeg")) << "libjpeg's default quality is 75";
    EXPECT_EQ(fileBytes("q101.jpeg"), fileBytes("q75.jpeg"));
    EXPECT_GT(fileBytes("q100.jpeg").size(), fileBytes("q75.jpeg").size());
    EXPECT_LT(fileBytes("q5.jpeg").size(), fileBytes("q75.jpeg").size());
}

TEST_F(ImageManagerTest, TiffRoundTripThroughLibtiffKeepsAssociatedAlpha)
{
    for (const char* name : {"sample.tif", "sample.TIFF"}) {
        ASSERT_TRUE(manager->saveImage(sampleImage(), wide(name), 100)) << name;
        TIFF* tiff = TIFFOpen(path(name).c_str(), "r");
        ASSERT_NE(tiff, nullptr);
        uint32_t width = 0, height = 0;
        uint16_t samples = 0, extraCount = 0;
        uint16_t* extra = nullptr;
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
        TIFFGetField(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
        TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &extraCount, &extra);
        EXPECT_EQ(width, 4u);
        EXPECT_EQ(height, 3u);
        EXPECT_EQ(samples, 4);
        ASSERT_EQ(extraCount, 1);
        EXPECT_EQ(extra[0], EXTRASAMPLE_ASSOCALPHA);
        std::vector<unsigned char> row(TIFFScanlineSize(tiff));
        ASSERT_EQ(TIFFReadScanline(tiff, row.data(), 0, 0), 1);
        EXPECT_EQ(bytesOf(row.data(), 12), (std::vector<int>{255, 0, 0, 255, 0, 0, 100, 128, 0, 0, 0, 0}));
        ASSERT_EQ(TIFFReadScanline(tiff, row.data(), 2, 0), 1);
        EXPECT_EQ(bytesOf(row.data() + 12, 4), (std::vector<int>{90, 120, 120, 255}));
        TIFFClose(tiff);
    }
}

TEST_F(ImageManagerTest, BmpHasA32BitBottomUpLayoutWithStraightAlpha)
{
    ASSERT_TRUE(manager->saveImage(sampleImage(), wide("sample.bmp"), 0));
    const std::vector<unsigned char> bytes = fileBytes("sample.bmp");
    ASSERT_EQ(bytes.size(), 14u + 40u + 4u * 3u * 4u);
    EXPECT_EQ(bytes[0], 'B');
    EXPECT_EQ(bytes[1], 'M');
    EXPECT_EQ(little(bytes, 2, 4), bytes.size());
    EXPECT_EQ(little(bytes, 10, 4), 54u) << "pixel offset";
    EXPECT_EQ(little(bytes, 14, 4), 40u) << "info header size";
    EXPECT_EQ(little(bytes, 18, 4), 4u);
    EXPECT_EQ(little(bytes, 22, 4), 3u) << "positive height: bottom up";
    EXPECT_EQ(little(bytes, 28, 2), 32u);
    EXPECT_EQ(little(bytes, 30, 4), 0u) << "uncompressed";

    const std::size_t topRow = 54 + 2 * 16;
    EXPECT_EQ(bytesOf(bytes.data() + topRow, 12), (std::vector<int>{0, 0, 255, 255, 199, 0, 0, 128, 0, 0, 0, 0}));
    EXPECT_EQ(bytesOf(bytes.data() + 54 + 12, 4), (std::vector<int>{120, 120, 90, 255})) << "bottom row first";
}

TEST_F(ImageManagerTest, SaveRefusesNullImagesUnknownExtensionsAndEmptyImages)
{
    EXPECT_FALSE(manager->saveImage(nullptr, wide("none.png"), 0));
    EXPECT_FALSE(manager->saveImage(sampleImage(), wide("sample.gif"), 0));
    EXPECT_FALSE(manager->saveImage(sampleImage(), wide("sample.png.txt"), 0));
    EXPECT_FALSE(manager->saveImage(CairoImage::create(XY<int>(0, 0)), wide("empty.png"), 0));
    EXPECT_FALSE(manager->saveImage(sampleImage(), wide("missing-folder/sample.png"), 0));
    EXPECT_FALSE(std::filesystem::exists(path("sample.gif")));
    EXPECT_TRUE(manager->supportedTypes().empty());
}

TEST_F(ImageManagerTest, LoadReportsMissingAndUnreadableFiles)
{
    EXPECT_EQ(loadFails("missing.png", "png"),
              "MediaServices::loadImage() : failed to load " + path("missing.png") + " (file not found)\n");

    ASSERT_TRUE(manager->saveImage(sampleImage(), wide("sample.tif"), 0));
    EXPECT_EQ(loadFails("sample.tif", "tif"), "MediaServices::loadImage() : failed to load " + path("sample.tif") + "\n");

    ASSERT_TRUE(manager->saveImage(sampleImage(), wide("sample.png"), 0));
    EXPECT_EQ(loadFails("sample.png", "bmp"), "MediaServices::loadImage() : failed to load " + path("sample.png") + "\n");
    EXPECT_TRUE(manager->loadImage(wide("sample.png"), "PnG"));
}

TEST_F(ImageManagerTest, BadPngAndJpegFilesLoadAsNothing)
{
    Kv::Ptr<iHostImage> image = sampleImage(64, 64);
    ASSERT_TRUE(manager->saveImage(image, wide("good.png"), 0));
    ASSERT_TRUE(manager->saveImage(image, wide("good.jpg"), 90));
    std::vector<unsigned char> png = fileBytes("good.png");
    std::vector<unsigned char> jpeg = fileBytes("good.jpg");

    writeBytes("empty.png", {});
    writeBytes("empty.jpg", {});
    writeBytes("truncated.png", std::vector<unsigned char>(png.begin(), png.begin() + png.size() / 2));
    writeBytes("truncated.jpg", std::vector<unsigned char>(jpeg.begin(), jpeg.begin() + jpeg.size() / 2));
    std::vector<unsigned char> corruptPng = png;
    for (std::size_t offset = 40; offset < corruptPng.size(); offset += 7)
        corruptPng[offset] ^= 0x5A;
    writeBytes("corrupt.png", corruptPng);
    writeBytes("corrupt.jpg", std::vector<unsigned char>(jpeg.begin(), jpeg.begin() + 2));
    writeBytes("text.jpg", {'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'a', 'g', 'e'});

    for (const char* name : {"empty.png", "truncated.png", "corrupt.png"})
        EXPECT_EQ(loadFails(name, "png"), "MediaServices::loadImage() : failed to load " + path(name) + "\n");
    for (const char* name : {"empty.jpg", "truncated.jpg", "corrupt.jpg", "text.jpg"})
        EXPECT_EQ(loadFails(name, "jpg"), "MediaServices::loadImage() : failed to load " + path(name) + "\n");
}

TEST_F(ImageManagerTest, PngWithAHugeDeclaredSizeIsRefusedBeforeAllocation)
{
    // Only a header: the declared pixels would take gigabytes.
    for (png_uint_32 side : {30000u, 100000u}) {
        const std::string name = "huge" + std::to_string(side) + ".png";
        FILE* file = std::fopen(path(name).c_str(), "wb");
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(png);
        png_init_io(png, file);
        png_set_IHDR(png, info, side, side, 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        EXPECT_EQ(loadFails(name, "png"), "MediaServices::loadImage() : failed to load " + path(name) + "\n");
    }
}

TEST_F(ImageManagerTest, GreyAndPalettePngsLoadAsBgra)
{
    const std::string name = "grey.png";
    FILE* file = std::fopen(path(name).c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, 2, 1, 8, PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_color palette[] = {{10, 20, 30}, {200, 100, 50}};
    png_byte transparency[] = {255, 0};
    png_set_PLTE(png, info, palette, 2);
    png_set_tRNS(png, info, transparency, 2, nullptr);
    png_write_info(png, info);
    png_byte row[] = {0, 1};
    png_write_row(png, row);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);

    Kv::Ptr<iHostImage> loaded = manager->loadImage(wide(name), "png");
    ASSERT_TRUE(loaded);
    EXPECT_EQ(bytesOf(loaded->lock()->getPixels(), 8), (std::vector<int>{30, 20, 10, 255, 0, 0, 0, 0}));
}
