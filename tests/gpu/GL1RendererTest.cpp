#include "EGLPlatform.h"
#include "GL1Renderer.h"
#include "GPUImage.h"
#include "GraphicPrimitives.h"
#include "OpenGLRequired.h"
#include "OpenGLUtils.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace
{
    using Pixel = std::uint32_t; // 0xAARRGGBB

    constexpr Pixel kBlack = 0xFF000000;
    constexpr Pixel kRed = 0xFFFF0000;

    class GL1RendererTest : public ::testing::Test
    {
    protected:
        void SetUp() override
        {
            REQUIRE_OPENGL(OpenGLUtils::isAvailable(), EGLPlatform::instance().unavailableReason());
            image = Kv::Ptr<GPUImage>(new GPUImage(iGPUImage::StorageT{XY<int>(64, 64), iGPUImage::eBGRA8}));
            // A recycled texture keeps its old pixels.
            fill({0, 0, 64, 64}, NormalisedRGB(0, 0, 0));
        }

        void fill(const Kv::Rectangle<int>& area, const NormalisedRGB& colour)
        {
            RectDescription rect;
            rect.rect = area;
            rect.colour = colour;
            image->getPrimitivesRenderer(false)->renderMulti(&rect, 1);
        }

        // x from the left, y from the bottom row as OpenGL drew it.
        Pixel pixel(int x, int y)
        {
            const Kv::Ptr<iHostImage> host = OpenGLUtils::instance().copyToHost(image);
            const Kv::Ptr<iPixelGuard> guard = host->lock();
            const unsigned char* bytes = guard->getPixels() + y * guard->getStride() + x * 4;
            return Pixel(bytes[3]) << 24 | Pixel(bytes[2]) << 16 | Pixel(bytes[1]) << 8 | Pixel(bytes[0]);
        }

        Kv::Ptr<GPUImage> image;
    };
}

TEST_F(GL1RendererTest, FillsARectangleFromTheBottomLeftOfAnImage)
{
    fill({10, 20, 30, 40}, NormalisedRGB(1, 0, 0));
    EXPECT_EQ(pixel(10, 20), kRed);
    EXPECT_EQ(pixel(29, 39), kRed);
    EXPECT_EQ(pixel(30, 39), kBlack);
    EXPECT_EQ(pixel(9, 20), kBlack);
}
