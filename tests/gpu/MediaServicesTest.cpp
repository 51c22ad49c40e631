#include "OS.h"

#include <gtest/gtest.h>

TEST(MediaServices, MakesHostSurfacesAndFonts)
{
    iMediaServices* media = OS()->mediaServices();
    const Kv::Ptr<iHostImage> surface = media->createHostSurface(XY<int>(64, 32));
    ASSERT_TRUE(surface);
    EXPECT_EQ(surface->getSize(), XY<int>(64, 32));
    EXPECT_EQ(surface->getBitsPerPixel(), 32u);
    EXPECT_EQ(surface->getStride(), 256u);

    const Kv::Ptr<iHostImage> ready = media->createGPUReadySurface(XY<int>(8, 8), iGPUImage::eFormat(3));
    ASSERT_TRUE(ready);
    EXPECT_EQ(ready->getBitsPerPixel(), 32u) << "the format is ignored";

    const Kv::Ptr<iFont> font = media->createHostSurfaceFont(L"DejaVu Sans", 24, 0);
    ASSERT_TRUE(font);
    EXPECT_GT(font->measure(L"Timeline", 0).x, 0);
}
