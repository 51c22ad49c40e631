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

TEST(MediaServices, GPUSlotsAnswerAsThisHostCan)
{
    iMediaServices* media = OS()->mediaServices();
    EXPECT_FALSE(media->copyToHost(Kv::Ptr<iGPUImage>()));
    EXPECT_FALSE(media->copyToGPU(Kv::Ptr<iHostImage>()));
    EXPECT_FALSE(media->copyToHost(Kv::Ptr<iGPUImage3D>()));
    EXPECT_FALSE(media->createGPUImage3D({4, 4, 4}));
    EXPECT_FALSE(media->getGPULock());
    EXPECT_EQ(media->getShaderLanguage(), 0);
    EXPECT_FALSE(media->createAudioBuffer(1024));

    const Kv::Ptr<iGPUImage> impossible = media->createGPUSurface({0, 64}, iGPUImage::eBGRA8);
    ASSERT_TRUE(impossible) << "the image exists without a texture";
    EXPECT_EQ(dynamic_cast<iOpenGLTexture&>(*impossible).getTextureID(), 0u);

    const Kv::Ptr<iTimer> timer = media->createTimer(5);
    const double start = OS()->utils()->elapsedTime();
    timer->wait(20);
    EXPECT_GE(OS()->utils()->elapsedTime() - start, 19.0) << "milliseconds";
}
