#include "MediaServices.h"

#include "CairoImage.h"
#include "CairoSurfaceWrapper.h"
#include "FileManager.h"
#include "Font.h"
#include "GLSLShaderEffect.h"
#include "GPUFont.h"
#include "GPUImage.h"
#include "MMTimer.h"
#include "OpenCLContext.h"
#include "OpenGL3DEffect.h"
#include "OpenGLImage3D.h"
#include "OpenGLTextureCache.h"
#include "OpenGLUtils.h"
#include "ScreenGrabber.h"
#include "X11Application.h"

Kv::Ptr<iHostImage> MediaServices::copyToHost(const Kv::Ptr<iGPUImage>& image) const
{
    const Kv::Ptr<GPUImage> gpuImage = Kv::dynamicCast<GPUImage>(image);
    return gpuImage ? OpenGLUtils::instance().copyToHost(gpuImage) : nullptr;
}

Kv::Ptr<iGPUImage> MediaServices::copyToGPU(const Kv::Ptr<iHostImage>& image) const
{
    return image ? Kv::Ptr<iGPUImage>(new GPUImage(image)) : nullptr;
}

Kv::Ptr<iHostImage3D> MediaServices::copyToHost(const Kv::Ptr<iGPUImage3D>&) const
{
    return nullptr;
}

Kv::Ptr<iGPUImage3D> MediaServices::copyToGPU(const Kv::Ptr<iHostImage3D>& image) const
{
    return OpenGLImage3D::create(image);
}

bool MediaServices::isSupported(iGPUImage::eFormat format) const
{
    return OpenGLUtils::isSupported(format);
}

Kv::Ptr<iHostImage> MediaServices::createHostSurface(const XY<int>& size) const
{
    return Kv::Ptr<iHostImage>(new CairoImage(size, 32, 1));
}

Kv::Ptr<iGPUImage> MediaServices::createGPUSurface(const XY<int>& size, iGPUImage::eFormat format) const
{
    return Kv::Ptr<iGPUImage>(new GPUImage(iGPUImage::StorageT{size, format}));
}

Kv::Ptr<iHostImage> MediaServices::createGPUReadySurface(const XY<int>& size, iGPUImage::eFormat) const
{
    return createHostSurface(size);
}

Kv::Ptr<iGPUImage3D> MediaServices::createGPUImage3D(const XYZ<unsigned char>&) const
{
    return nullptr;
}

Kv::Ptr<iFont> MediaServices::createHostSurfaceFont(const LightweightString<wchar_t>& family, unsigned int size,
                                                    unsigned int style) const
{
    return Kv::Ptr<iFont>(new Font(family, size, style, 0));
}

Kv::Ptr<iFont> MediaServices::createGPUSurfaceFont(const LightweightString<wchar_t>& family, unsigned int size,
                                                   unsigned int style) const
{
    return Kv::Ptr<iFont>(new GPUFont(family, size, style, 0));
}

void MediaServices::clearCaches()
{
    OpenGLTextureCache::instance().clear();
}

Kv::Ptr<iHostImage> MediaServices::grabScreen(const XY<int>&) const
{
    Display* display = X11Application::instance().display();
    // Made after the connection, so that it lets go of its segment first.
    static ScreenGrabber grabber;
    cairo_surface_t* still = grabber.grab(display);
    if (!still)
        return nullptr;
    Kv::Ptr<iHostImage> image(new CairoSurfaceWrapper(still));
    // The wrapper holds its own reference.
    cairo_surface_destroy(still);
    return image;
}

Kv::Ptr<iGPUComputeContext> MediaServices::createGPUComputeContext(iGPUComputeContext::eType) const
{
    return OpenCLContext::make();
}

ShaderCompilationOutput MediaServices::compileFXFile(const LightweightString<wchar_t>& path,
                                                     const std::vector<iShaderEffect::CompilerDefinition>& definitions)
{
    return GLSLShaderEffect::load(FileManager::KvtoOS(path), definitions);
}

ShaderCompilationOutput
MediaServices::compileFXFileFromBuffer(const LightweightString<char>& source,
                                       const std::vector<iShaderEffect::CompilerDefinition>& definitions)
{
    return GLSLShaderEffect::loadFromBuffer(source, definitions);
}

Kv::Ptr<i3DEffect> MediaServices::create3DEffect() const
{
    return Kv::Ptr<i3DEffect>(new OpenGL3DEffect);
}

Kv::Ptr<iTimer> MediaServices::createTimer(unsigned int) const
{
    return Kv::Ptr<iTimer>(new MMTimer);
}
