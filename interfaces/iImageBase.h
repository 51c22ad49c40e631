#pragma once

#include "Ptr.h"
#include "XY.h"
#include "iGraphicPrimitivesRenderer.h"
#include "iObject.h"

class iImage;

// Anything that can be drawn on or drawn from: images in main memory or on
// the GPU, and root windows.
class KV_API iImageBase : public virtual iObject
{
public:
    // Where the pixels live.
    enum eLocation
    {
        eHostMemory = 0,
        eGPUMemory = 1,
    };

    virtual eLocation getLocation() const = 0;
    virtual XY<int> getSize() const = 0;
    virtual unsigned int getBitsPerPixel() const = 0;
    virtual unsigned int getBitsPerComponent() const = 0;
    virtual Kv::Ptr<iGraphicPrimitivesRenderer> getPrimitivesRenderer(bool forceSoftware) = 0;
    virtual Kv::Ptr<iImage> createCompatibleImage(const XY<int>& size) = 0;

protected:
    // The logical size. A width of 0 means it is not set: ask getSize.
    XY<int> size_;
};
