#pragma once

#include "iMediaServices.h"

// What OS()->mediaServices() returns: joins host and GPU images, fonts,
// effects and timers behind one factory. It is built with the facade, so its
// constructor does nothing; OpenGL starts on the first GPU operation.
class MediaServices : public iMediaServices
{
public:
    Kv::Ptr<iHostImage> copyToHost(const Kv::Ptr<iGPUImage>& image) const override;
    Kv::Ptr<iGPUImage> copyToGPU(const Kv::Ptr<iHostImage>& image) const override;
    // This host reads no 3D image back.
    Kv::Ptr<iHostImage3D> copyToHost(const Kv::Ptr<iGPUImage3D>& image) const override;
    Kv::Ptr<iGPUImage3D> copyToGPU(const Kv::Ptr<iHostImage3D>& image) const override;
    bool isSupported(iGPUImage::eFormat format) const override;
    Kv::Ptr<iHostImage> createHostSurface(const XY<int>& size) const override;
    Kv::Ptr<iGPUImage> createGPUSurface(const XY<int>& size, iGPUImage::eFormat format) const override;
    Kv::Ptr<iHostImage> createGPUReadySurface(const XY<int>& size, iGPUImage::eFormat format) const override;
    // Empty 3D images are not made here.
    Kv::Ptr<iGPUImage3D> createGPUImage3D(const XYZ<unsigned char>& size) const override;
    Kv::Ptr<iFont> createHostSurfaceFont(const LightweightString<wchar_t>& family, unsigned int size,
                                         unsigned int style) const override;
    Kv::Ptr<iFont> createGPUSurfaceFont(const LightweightString<wchar_t>& family, unsigned int size,
                                        unsigned int style) const override;
    // The texture cache only; cached texts stay.
    void clearCaches() override;
    // Read from the root window of the process's X connection.
    Kv::Ptr<iHostImage> grabScreen(const XY<int>& size) const override;
    Kv::Ptr<iObject> beginScreenCapture(LightweightString<wchar_t>&, const LightweightString<char>&) override
    {
        return nullptr;
    }
    void endScreenCapture(const LightweightString<char>&) override {}
    Kv::Ptr<iGPUComputeContext> createGPUComputeContext(iGPUComputeContext::eType type) const override;
    // The GPU lock is reached only through the OpenGL utilities: null here.
    Kv::Ptr<iCriticalSection> getGPULock() const override { return nullptr; }
    void resetGPUContext() const override {}
    int getShaderLanguage() const override { return 0; }
    ShaderCompilationOutput compileFXFile(const LightweightString<wchar_t>& path,
                                          const std::vector<iShaderEffect::CompilerDefinition>& definitions) override;
    ShaderCompilationOutput
    compileFXFileFromBuffer(const LightweightString<char>& source,
                            const std::vector<iShaderEffect::CompilerDefinition>& definitions) override;
    Kv::Ptr<i3DEffect> create3DEffect() const override;
    // This host has no audio buffers.
    Kv::Ptr<iObject> createAudioBuffer(unsigned int) const override { return nullptr; }
    int getCaps() const override { return 0; }
    Kv::Ptr<iTimer> createTimer(unsigned int periodMs) const override;
};
