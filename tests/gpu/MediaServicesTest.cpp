#include "OS.h"

#include <gtest/gtest.h>

// What this host cannot do answers with nothing; what it cannot be given too.
TEST(MediaServices, SlotsWithoutAHostServiceAndNullInputsAnswerNothing)
{
    iMediaServices* media = OS()->mediaServices();
    EXPECT_FALSE(media->copyToHost(Kv::Ptr<iGPUImage>()));
    EXPECT_FALSE(media->copyToGPU(Kv::Ptr<iHostImage>()));
    EXPECT_FALSE(media->copyToHost(Kv::Ptr<iGPUImage3D>()));
    EXPECT_FALSE(media->createGPUImage3D({4, 4, 4}));
    EXPECT_FALSE(media->getGPULock());
    EXPECT_FALSE(media->createAudioBuffer(1024));

    const Kv::Ptr<iGPUImage> impossible = media->createGPUSurface({0, 64}, iGPUImage::eBGRA8);
    ASSERT_TRUE(impossible) << "the image exists without a texture";
    EXPECT_EQ(dynamic_cast<iOpenGLTexture&>(*impossible).getTextureID(), 0u);

    const Kv::Ptr<iTimer> timer = media->createTimer(5);
    const double start = OS()->utils()->elapsedTime();
    timer->wait(20);
    EXPECT_GE(OS()->utils()->elapsedTime() - start, 19.0) << "milliseconds";
}
