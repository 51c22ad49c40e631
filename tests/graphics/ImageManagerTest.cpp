#include "CairoImage.h"
#include "ImageTestSupport.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace
{
    class ImageManagerTest : public ImageScratchFolder
    {
    protected:
        // Premultiplied B, G, R, A: opaque red, half-transparent blue, clear,
        // then a smooth gradient, so that chroma subsampling has no edge to blur.
        static Kv::Ptr<iHostImage> sampleImage(int width = 4, int height = 3, bool smooth = false)
        {
            Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(width, height));
            image->setAlphaIsPreMultiplied(true);
            unsigned char* pixels = image->lock()->getPixels();
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const unsigned char pixel[] = {(unsigned char)(x * (smooth ? 8 : 40)),
                                                   (unsigned char)(y * (smooth ? 8 : 60)), 90, 255};
                    std::copy(pixel, pixel + 4, pixels + (y * width + x) * 4);
                }
            if (!smooth) {
                const unsigned char start[] = {0, 0, 255, 255, 100, 0, 0, 128, 0, 0, 0, 0};
                std::copy(start, start + 12, pixels);
            }
            return image;
        }

        std::vector<unsigned char> fileBytes(const std::string& name) const
        {
            std::ifstream file(path(name), std::ios::binary);
            return std::vector<unsigned char>(std::istreambuf_iterator<char>(file), {});
        }

        void writeBytes(const std::string& name, const std::vector<unsigned char>& bytes) const
        {
            std::ofstream(path(name), std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                                std::streamsize(bytes.size()));
        }

        // What loadImage prints for a file it cannot give an image of.
        std::string loadFails(const std::string& name, const char* format) const
        {
            testing::internal::CaptureStdout();
            Kv::Ptr<iHostImage> image = manager->loadImage(wide(name), format);
            const std::string printed = testing::internal::GetCapturedStdout();
            EXPECT_FALSE(image) << name;
            return printed;
        }

        std::string failure(const std::string& name) const
        {
            return "MediaServices::loadImage() : failed to load " + path(name) + "\n";
        }

        iImageManager* manager = OS()->imageManager();
    };

    unsigned int little(const std::vector<unsigned char>& bytes, std::size_t offset, int width)
    {
        unsigned int value = 0;
        for (int byte = width - 1; byte >= 0; --byte)
            value = value << 8 | bytes[offset + byte];
        return value;
    }
}

TEST_F(ImageManagerTest, PngRoundTripKeepsEveryPremultipliedByteAndTheFileHoldsStraightAlpha)
{
    Kv::Ptr<iHostImage> image = sampleImage();
    ASSERT_TRUE(manager->saveImage(image, wide("sample.png"), -1));
    Kv::Ptr<iHostImage> loaded = manager->loadImage(wide("sample.png"), "png");
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->getSize(), XY<int>(4, 3));
    EXPECT_EQ(bytesOf(loaded->lock()->getPixels(), 48), bytesOf(image->lock()->getPixels(), 48));

    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&png, path("sample.png").c_str()));
    png.format = PNG_FORMAT_RGBA;
    std::vector<unsigned char> rgba(PNG_IMAGE_SIZE(png));
    ASSERT_TRUE(png_image_finish_read(&png, nullptr, rgba.data(), 0, nullptr));
    EXPECT_EQ(bytesOf(rgba.data(), 12), (std::vector<int>{255, 0, 0, 255, 0, 0, 199, 128, 0, 0, 0, 0}));
}

TEST_F(ImageManagerTest, PalettePngWithTransparencyLoadsAsBgra)
{
    const std::string name = writePng("palette.png", 2, 1, PNG_COLOR_TYPE_PALETTE, {0, 1}, [](png_structp png, png_infop info) {
        png_color palette[] = {{10, 20, 30}, {200, 100, 50}};
        png_byte transparency[] = {255, 0};
        png_set_PLTE(png, info, palette, 2);
        png_set_tRNS(png, info, transparency, 2, nullptr);
    });
    Kv::Ptr<iHostImage> loaded = manager->loadImage(wide(name), "png");
    ASSERT_TRUE(loaded);
    EXPECT_EQ(bytesOf(loaded->lock()->getPixels(), 8), (std::vector<int>{30, 20, 10, 255, 0, 0, 0, 0}));
}

TEST_F(ImageManagerTest, JpegRoundTripIsCloseAndOpaqueAndQualityOutsideOneToHundredIsTheDefault)
{
    Kv::Ptr<iHostImage> image = sampleImage(16, 16, true);
    ASSERT_TRUE(manager->saveImage(image, wide("sample.JPG"), 100));
    Kv::Ptr<iHostImage> loaded = manager->loadImage(wide("sample.JPG"), "JPG");
    ASSERT_TRUE(loaded);
    ASSERT_EQ(loaded->getSize(), XY<int>(16, 16));
    const unsigned char* before = image->lock()->getPixels();
    const unsigned char* after = loaded->lock()->getPixels();
    for (int offset = 0; offset < 16 * 16 * 4; ++offset)
        EXPECT_NEAR(after[offset], offset % 4 == 3 ? 255 : before[offset], offset % 4 == 3 ? 0 : 6) << offset;

    image = sampleImage(64, 64);
    for (int quality : {0, 75, 101, 100, 5})
        ASSERT_TRUE(manager->saveImage(image, wide("q" + std::to_string(quality) + ".jpeg"), quality));
    EXPECT_EQ(fileBytes("q0.jpeg"), fileBytes("q75.jpeg")) << "libjpeg's default quality is 75";
    EXPECT_EQ(fileBytes("q101.jpeg"), fileBytes("q75.jpeg"));
    EXPECT_GT(fileBytes("q100.jpeg").size(), fileBytes("q75.jpeg").size());
    EXPECT_LT(fileBytes("q5.jpeg").size(), fileBytes("q75.jpeg").size());
}

TEST_F(ImageManagerTest, TiffReadByLibtiffHasAssociatedAlpha)
{
    ASSERT_TRUE(manager->saveImage(sampleImage(), wide("sample.TIFF"), 100));
    TIFF* tiff = TIFFOpen(path("sample.TIFF").c_str(), "r");
    ASSERT_NE(tiff, nullptr);
    uint32_t width = 0, height = 0;
    uint16_t samples = 0, extraCount = 0;
    uint16_t* extra = nullptr;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetField(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &extraCount, &extra);
    EXPECT_EQ(XY<int>(int(width), int(height)), XY<int>(4, 3));
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

TEST_F(ImageManagerTest, BmpHasA32BitBottomUpLayoutWithStraightAlpha)
{
    ASSERT_TRUE(manager->saveImage(sampleImage(), wide("sample.bmp"), 0));
    const std::vector<unsigned char> bytes = fileBytes("sample.bmp");
    ASSERT_EQ(bytes.size(), 14u + 40u + 4u * 3u * 4u);
    EXPECT_EQ(bytes[0], 'B');
    EXPECT_EQ(bytes[1], 'M');
    // Offset, width in bytes and value of each header field read.
    const unsigned int fields[][3] = {{2, 4, unsigned(bytes.size())}, {10, 4, 54}, {14, 4, 40}, {18, 4, 4},
                                      {22, 4, 3 /* positive: bottom up */}, {28, 2, 32}, {30, 4, 0}};
    for (const auto& field : fields)
        EXPECT_EQ(little(bytes, field[0], int(field[1])), field[2]) << "at " << field[0];
    EXPECT_EQ(bytesOf(bytes.data() + 54 + 2 * 16, 12), (std::vector<int>{0, 0, 255, 255, 199, 0, 0, 128, 0, 0, 0, 0}));
    EXPECT_EQ(bytesOf(bytes.data() + 54 + 12, 4), (std::vector<int>{120, 120, 90, 255})) << "bottom row first";
}

TEST_F(ImageManagerTest, SaveRefusesNullImagesUnknownExtensionsEmptyImagesAndMissingFolders)
{
    EXPECT_FALSE(manager->saveImage(nullptr, wide("none.png"), 0));
    EXPECT_FALSE(manager->saveImage(sampleImage(), wide("sample.gif"), 0));
    EXPECT_FALSE(manager->saveImage(sampleImage(), wide("sample.png.txt"), 0));
    EXPECT_FALSE(manager->saveImage(CairoImage::create(XY<int>(0, 0)), wide("empty.png"), 0));
    EXPECT_FALSE(manager->saveImage(sampleImage(), wide("missing-folder/sample.png"), 0));
    EXPECT_FALSE(std::filesystem::exists(path("sample.gif")));
}

TEST_F(ImageManagerTest, MissingUnreadableAndBadFilesLoadAsNothingWithALine)
{
    Kv::Ptr<iHostImage> image = sampleImage(64, 64);
    ASSERT_TRUE(manager->saveImage(image, wide("good.png"), 0));
    ASSERT_TRUE(manager->saveImage(image, wide("good.jpg"), 90));
    ASSERT_TRUE(manager->saveImage(image, wide("good.tif"), 0));
    const std::vector<unsigned char> png = fileBytes("good.png");
    const std::vector<unsigned char> jpeg = fileBytes("good.jpg");
    std::vector<unsigned char> corruptPng = png;
    for (std::size_t offset = 40; offset < corruptPng.size(); offset += 7)
        corruptPng[offset] ^= 0x5A;
    writeBytes("empty.png", {});
    writeBytes("empty.jpg", {});
    writeBytes("truncated.png", std::vector<unsigned char>(png.begin(), png.begin() + png.size() / 2));
    writeBytes("truncated.jpg", std::vector<unsigned char>(jpeg.begin(), jpeg.begin() + jpeg.size() / 2));
    writeBytes("corrupt.png", corruptPng);
    writeBytes("corrupt.jpg", std::vector<unsigned char>(jpeg.begin(), jpeg.begin() + 2));
    writeBytes("text.jpg", {'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'a', 'g', 'e'});
    // Only a header: the declared pixels would take gigabytes.
    writePng("huge30000.png", 30000, 30000, PNG_COLOR_TYPE_RGB_ALPHA);
    writePng("huge100000.png", 100000, 100000, PNG_COLOR_TYPE_RGB_ALPHA);

    EXPECT_EQ(loadFails("missing.png", "png"),
              "MediaServices::loadImage() : failed to load " + path("missing.png") + " (file not found)\n");
    const struct
    {
        const char* name;
        const char* format;
    } cases[] = {{"good.tif", "tif"},      {"good.png", "bmp"},       {"empty.png", "png"},  {"truncated.png", "png"},
                 {"corrupt.png", "png"},   {"huge30000.png", "png"},  {"huge100000.png", "png"},
                 {"empty.jpg", "jpg"},     {"truncated.jpg", "jpg"},  {"corrupt.jpg", "jpg"}, {"text.jpg", "jpg"}};
    for (const auto& bad : cases)
        EXPECT_EQ(loadFails(bad.name, bad.format), failure(bad.name)) << bad.format;
    EXPECT_TRUE(manager->loadImage(wide("good.png"), "PnG"));
}
