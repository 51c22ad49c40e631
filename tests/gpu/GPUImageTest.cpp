#include "CairoImage.h"
#include "EGLPlatform.h"
#include "GPUImage.h"
#include "OpenGLContextProtector.h"
#include "OpenGLImage3D.h"
#include "OpenGLRequired.h"
#include "OpenGLTextureCache.h"
#include "OpenGLUtils.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#define REQUIRE_GPU() REQUIRE_OPENGL(OpenGLUtils::isAvailable(), EGLPlatform::instance().unavailableReason())

namespace
{
    using Storage = iGPUImage::StorageT;

    // A host image whose every pixel is the one 32-bit value.
    Kv::Ptr<iHostImage> filledHostImage(XY<int> size, std::uint32_t bgra)
    {
        const Kv::Ptr<iHostImage> host(new CairoImage(size, 32, 1));
        const Kv::Ptr<iPixelGuard> pixels = host->lock();
        auto* words = reinterpret_cast<std::uint32_t*>(pixels->getPixels());
        std::fill(words, words + size.x * size.y, bgra);
        return host;
    }

    std::uint32_t pixelOf(const Kv::Ptr<iHostImage>& host, int x, int y)
    {
        const Kv::Ptr<iPixelGuard> pixels = host->lock();
        std::uint32_t word = 0;
        std::memcpy(&word, pixels->getPixels() + y * pixels->getStride() + x * 4, 4);
        return word;
    }

    std::uint32_t readBack(const Kv::Ptr<GPUImage>& image, int x = 0, int y = 0)
    {
        return pixelOf(OpenGLUtils::instance().copyToHost(image), x, y);
    }

    class GPUImageTest : public testing::Test
    {
    protected:
        void SetUp() override { OpenGLTextureCache::instance().clear(); }
        void TearDown() override { OpenGLTextureCache::instance().clear(); }
    };
}

TEST_F(GPUImageTest, ADeadImagesTextureServesTheNextOfItsStorageWithItsOldPixels)
{
    REQUIRE_GPU();
    GLuint name = 0;
    {
        const Kv::Ptr<GPUImage> uploaded(new GPUImage(filledHostImage({32, 16}, 0xFF336699)));
        name = uploaded->getTextureID();
        ASSERT_NE(name, 0u);
        EXPECT_EQ(readBack(uploaded, 31, 15), 0xFF336699u);
    }
    EXPECT_EQ(OpenGLTextureCache::instance().size(), 1u);
    const Kv::Ptr<GPUImage> recycled = GPUImage::create({{32, 16}, iGPUImage::eBGRA8});
    EXPECT_EQ(recycled->getTextureID(), name);
    EXPECT_EQ(readBack(recycled, 5, 5), 0xFF336699u) << "a recycled texture is not cleared";
    EXPECT_EQ(OpenGLTextureCache::instance().size(), 0u);

    const Kv::Ptr<GPUImage> otherFormat = GPUImage::create({{32, 16}, iGPUImage::eRGBA16});
    EXPECT_NE(otherFormat->getTextureID(), name);
}

TEST_F(GPUImageTest, TheTwelfthReturnEvictsTheSmallestKey)
{
    REQUIRE_GPU();
    // Widths 1..11 in BGRA8 (internal format GL_RGBA, the smallest), then one
    // 16-bit image: its internal format is larger, so width 1 goes.
    GLuint narrowest = 0;
    for (int width = 1; width <= 11; ++width) {
        const Kv::Ptr<GPUImage> image = GPUImage::create({{width, 4}, iGPUImage::eBGRA8});
        if (width == 1)
            narrowest = image->getTextureID();
    }
    ASSERT_EQ(OpenGLTextureCache::instance().size(), 11u);
    GPUImage::create({{64, 4}, iGPUImage::eRGBA16});
    EXPECT_EQ(OpenGLTextureCache::instance().size(), 11u);
    EXPECT_EQ(OpenGLTextureCache::instance().extract(GPUImage::getStorageDetails({{1, 4}, iGPUImage::eBGRA8})).texture,
              0u);
    const OpenGLContextProtector protector;
    EXPECT_FALSE(glIsTexture(narrowest)) << "the evicted texture is deleted";
}

TEST_F(GPUImageTest, ImagesOfRefusedSizesHaveNoTextureAndReportTheirStorage)
{
    REQUIRE_GPU();
    EXPECT_FALSE(GPUImage::create({{0, 5}, iGPUImage::eBGRA8}));
    const Kv::Ptr<GPUImage> refused(new GPUImage(Storage{{0, 5}, iGPUImage::eBGRA8}));
    EXPECT_EQ(refused->getTextureID(), 0u);
    const int tooWide = OpenGLUtils::getMaxTextureSize().x + 1;
    EXPECT_EQ(Kv::Ptr<GPUImage>(new GPUImage(Storage{{tooWide, 1}, iGPUImage::eBGRA8}))->getTextureID(), 0u);

    const struct
    {
        iGPUImage::eFormat format;
        unsigned bitsPerPixel, bitsPerComponent;
        GLenum type;
    } formats[] = {{iGPUImage::eBGRA8, 32, 8, GL_UNSIGNED_BYTE},     {iGPUImage::eRGBA16, 64, 16, GL_UNSIGNED_SHORT},
                   {iGPUImage::eRGBA16F, 64, 16, GL_HALF_FLOAT},     {iGPUImage::eRGBA32F, 128, 32, GL_FLOAT},
                   {iGPUImage::eRGB10A2, 32, 10, GL_UNSIGNED_INT_2_10_10_10_REV},
                   {iGPUImage::eAlpha8, 32, 8, GL_UNSIGNED_BYTE}, {iGPUImage::eFormat(42), 32, 8, GL_UNSIGNED_BYTE}};
    for (const auto& expected : formats) {
        const Kv::Ptr<GPUImage> image(new GPUImage(Storage{{4, 2}, expected.format}));
        EXPECT_EQ(image->getBitsPerPixel(), expected.bitsPerPixel) << expected.format;
        EXPECT_EQ(image->getBitsPerComponent(), expected.bitsPerComponent) << expected.format;
        EXPECT_EQ(GPUImage::getStorageDetails({{4, 2}, expected.format}).type, expected.type) << expected.format;
        EXPECT_EQ(OpenGLUtils::instance().copyToHost(image)->getBitsPerPixel(),
                  expected.type == GL_UNSIGNED_BYTE || expected.type == GL_UNSIGNED_INT_2_10_10_10_REV
                      ? 32u
                      : expected.bitsPerPixel)
            << expected.format;
        EXPECT_FALSE(image->lock());
        EXPECT_EQ(image->getLocation(), iImageBase::eGPUMemory);
    }
}

TEST_F(GPUImageTest, AnUploadTakesTheHostImagesStorageAndAnotherThreadReadsItBack)
{
    REQUIRE_GPU();
    const Kv::Ptr<iHostImage> host = filledHostImage({8, 8}, 0x80FF0000);
    host->setStorage({{0, 0}, iGPUImage::eBGRA8});
    Kv::Ptr<GPUImage> uploaded;
    std::thread([&] { uploaded = Kv::Ptr<GPUImage>(new GPUImage(host)); }).join();
    EXPECT_EQ(uploaded->getSize(), XY<int>(8, 8)) << "a zero storage size takes the image's";
    std::uint32_t seen = 0;
    std::thread([&] { seen = readBack(uploaded, 7, 7); }).join();
    EXPECT_EQ(seen, 0x80FF0000u) << "textures cross between the threads' contexts";
}

namespace
{
    // The colour of a point is its coordinates over 255.
    class CoordinateCube : public iHostImage3D
    {
    public:
        explicit CoordinateCube(XYZ<unsigned char> size) : size_(size) {}
        XYZ<unsigned char> getLogicalSize() const override { return size_; }
        NormalisedRGB lookup(const XYZ<unsigned char>& point) const override
        {
            return {point.x / 255.0f, point.y / 255.0f, point.z / 255.0f};
        }

    private:
        XYZ<unsigned char> size_;
    };
}

TEST_F(GPUImageTest, ThreeDimensionalImagesRunTheFirstCoordinateSlowest)
{
    REQUIRE_GPU();
    EXPECT_FALSE(OpenGLImage3D::create(nullptr));
    const Kv::Ptr<iGPUImage3D> cube = OpenGLImage3D::create(Kv::Ptr<iHostImage3D>(new CoordinateCube({2, 3, 4})));
    ASSERT_TRUE(cube);
    EXPECT_EQ(cube->getPhysicalSize(), (XYZ<unsigned char>{2, 3, 4}));
    EXPECT_EQ(cube->getLogicalSize(), cube->getPhysicalSize());
    std::vector<std::uint32_t> texels(2 * 3 * 4);
    {
        const OpenGLContextProtector protector;
        glBindTexture(GL_TEXTURE_3D, dynamic_cast<iOpenGLTexture&>(*cube).getTextureID());
        glGetTexImage(GL_TEXTURE_3D, 0, GL_BGRA, GL_UNSIGNED_BYTE, texels.data());
        glBindTexture(GL_TEXTURE_3D, 0);
    }
    // Source point (1, 2, 3) is the last word: red 1, green 2, blue 3.
    EXPECT_EQ(texels.back(), 0xFF010203u);
    EXPECT_EQ(texels[1], 0xFF000001u) << "the texture's s axis runs along the third coordinate";

    EXPECT_TRUE(OpenGLImage3D::create(Kv::Ptr<iHostImage3D>(new CoordinateCube({0, 0, 0}))))
        << "an empty cube still gets a texture";
}
