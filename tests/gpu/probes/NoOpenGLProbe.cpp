// Runs every GPU entry point on a machine where OpenGL cannot start; the test
// that launches it hides the EGL driver. It must end normally and say "done".
#include "GPUImage.h"
#include "OS.h"
#include "OpenGLImage3D.h"
#include "OpenGLUtils.h"

#include <cstdio>

int main()
{
    iMediaServices* media = OS()->mediaServices();
    const Kv::Ptr<iGPUImage> surface = media->createGPUSurface({64, 64}, iGPUImage::eBGRA8);
    const Kv::Ptr<iHostImage> host = media->createHostSurface({8, 8});
    const Kv::Ptr<iGPUImage> uploaded = media->copyToGPU(host);
    media->copyToHost(uploaded);
    media->copyToGPU(Kv::Ptr<iHostImage3D>());
    media->isSupported(iGPUImage::eRGBA16F);
    if (const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = surface->getPrimitivesRenderer(true)) {
        RectDescription rect;
        rect.rect = {0, 0, 8, 8};
        renderer->renderMulti(&rect, 1);
    }
    media->compileFXFileFromBuffer("technique t { pass p { } }", {});
    OpenGLUtils::instance().getBlackTexture();
    OpenGLUtils::instance().getTextureDimensions(1);
    OpenGLUtils::instance().dumpState();
    media->clearCaches();
    OpenGLUtils::shutdown();
    std::printf("done: texture %u\n", dynamic_cast<iOpenGLTexture&>(*uploaded).getTextureID());
    return 0;
}
