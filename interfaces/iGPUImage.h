#pragma once

#include "XY.h"
#include "iGPUResource.h"
#include "iImage.h"
#include "iOpenGLTexture.h"

#include <cstdint>

// An image whose pixels live on the GPU. Its pixels cannot be mapped: lock
// gives null, and iMediaServices::copyToHost reads them back.
class KV_API iGPUImage : public iImage, public iGPUResource
{
public:
    enum eFormat : std::int32_t
    {
        eBGRA8 = 0,
        eRGBA16 = 1,
        eRGBA16F = 2,
        eRGBA32F = 3,
        eRGB10A2 = 4,
        eRGB10A2Video = 5,
        eAlpha8 = 6,
    };

    // Taken and given back as a whole. Host images carry one to say how they
    // wish to be stored on the GPU.
    struct StorageT
    {
        XY<int> size;
        eFormat format = eBGRA8;
    };

    eLocation getLocation() const override { return eGPUMemory; }
    virtual eFormat getFormat() const = 0;
};

// A GPU image held in an OpenGL texture.
class KV_API iOpenGLImage : public iGPUImage, public iOpenGLTexture
{
};
