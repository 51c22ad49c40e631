#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "XY.h"
#include "i3DEffect.h"
#include "iCriticalSection.h"
#include "iFont.h"
#include "iGPUComputeContext.h"
#include "iGPUImage.h"
#include "iHostImage.h"
#include "iImage3D.h"
#include "iObject.h"
#include "iShaderEffect.h"
#include "iTimer.h"

#include <vector>

// The factory of images, fonts, effects and timers, and the bridge between
// host and GPU images. Operations this host does not offer answer null or 0.
class KV_API iMediaServices : public virtual iObject
{
public:
    // Null for a null image or one that is not this library's.
    virtual Kv::Ptr<iHostImage> copyToHost(const Kv::Ptr<iGPUImage>& image) const = 0;
    // Uploads the pixels as they lie in memory; null for a null image.
    virtual Kv::Ptr<iGPUImage> copyToGPU(const Kv::Ptr<iHostImage>& image) const = 0;
    virtual Kv::Ptr<iHostImage3D> copyToHost(const Kv::Ptr<iGPUImage3D>& image) const = 0;
    virtual Kv::Ptr<iGPUImage3D> copyToGPU(const Kv::Ptr<iHostImage3D>& image) const = 0;
    // Whether OpenGL can hold textures of the format.
    virtual bool isSupported(iGPUImage::eFormat format) const = 0;
    // A 32-bit image in main memory at device pixel ratio 1.
    virtual Kv::Ptr<iHostImage> createHostSurface(const XY<int>& size) const = 0;
    // Its pixels are not cleared. An impossible size gives an image without a
    // texture.
    virtual Kv::Ptr<iGPUImage> createGPUSurface(const XY<int>& size, iGPUImage::eFormat format) const = 0;
    // The same as createHostSurface: the format is ignored, deliberately.
    virtual Kv::Ptr<iHostImage> createGPUReadySurface(const XY<int>& size, iGPUImage::eFormat format) const = 0;
    virtual Kv::Ptr<iGPUImage3D> createGPUImage3D(const XYZ<unsigned char>& size) const = 0;
    // A font for drawing in main memory; a family that is not installed falls
    // back with a log line.
    virtual Kv::Ptr<iFont> createHostSurfaceFont(const LightweightString<wchar_t>& family, unsigned int size,
                                                 unsigned int style) const = 0;
    // A font whose texts are drawn on the GPU, through a cache of their images.
    virtual Kv::Ptr<iFont> createGPUSurfaceFont(const LightweightString<wchar_t>& family, unsigned int size,
                                                unsigned int style) const = 0;
    // Gives back the textures that GPU images returned.
    virtual void clearCaches() = 0;
    // A still of the whole main screen, whatever the size asked; null without
    // a display.
    virtual Kv::Ptr<iHostImage> grabScreen(const XY<int>& size) const = 0;
    // Screen recording is not offered: always null, and ending does nothing.
    virtual Kv::Ptr<iObject> beginScreenCapture(LightweightString<wchar_t>& path,
                                                const LightweightString<char>& format) = 0;
    virtual void endScreenCapture(const LightweightString<char>& format) = 0;
    // A new compute context on each call, or null when OpenCL offers none.
    virtual Kv::Ptr<iGPUComputeContext> createGPUComputeContext(iGPUComputeContext::eType type) const = 0;
    virtual Kv::Ptr<iCriticalSection> getGPULock() const = 0;
    virtual void resetGPUContext() const = 0;
    virtual int getShaderLanguage() const = 0;
    // The compiler's messages come with the effect, which is null when the
    // file does not compile.
    virtual ShaderCompilationOutput compileFXFile(const LightweightString<wchar_t>& path,
                                                  const std::vector<iShaderEffect::CompilerDefinition>& definitions) = 0;
    virtual ShaderCompilationOutput
    compileFXFileFromBuffer(const LightweightString<char>& source,
                            const std::vector<iShaderEffect::CompilerDefinition>& definitions) = 0;
    // A new effect each time.
    virtual Kv::Ptr<i3DEffect> create3DEffect() const = 0;
    // The effect of compileFXFile, without its messages.
    Kv::Ptr<iShaderEffect> createShaderEffect(const LightweightString<wchar_t>& path,
                                              const std::vector<iShaderEffect::CompilerDefinition>& definitions)
    {
        return compileFXFile(path, definitions).effect;
    }
    virtual Kv::Ptr<iObject> createAudioBuffer(unsigned int size) const = 0;
    virtual int getCaps() const = 0;
    // A timer that only waits, for the period given to each wait.
    virtual Kv::Ptr<iTimer> createTimer(unsigned int periodMs) const = 0;
};
