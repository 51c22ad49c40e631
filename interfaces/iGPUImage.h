#pragma once

#include "KvExport.h"
#include "XY.h"

#include <cstdint>

// An image that lives on the GPU. Only the storage request is here for now:
// host images carry one to say how they wish to be stored on the GPU.
class KV_API iGPUImage
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

    // Taken and given back as a whole.
    struct StorageT
    {
        XY<int> size;
        eFormat format = eBGRA8;
    };
};
