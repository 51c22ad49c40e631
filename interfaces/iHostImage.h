#pragma once

#include "iGPUImage.h"
#include "iImage.h"

// A bitmap in main memory. Writable host images keep bytes B, G, R, A in
// memory, 8 bits a component.
class KV_API iHostImage : public iImage
{
public:
    eLocation getLocation() const override { return eHostMemory; }

    // Width times bytes per pixel: rows without a gap, unless an image knows better.
    virtual unsigned int getStride() const { return static_cast<unsigned int>(getSize().x) * getBitsPerPixel() >> 3; }
    virtual bool isAlphaPreMultiplied() const = 0;
    virtual void setAlphaIsPreMultiplied(bool preMultiplied) = 0;
    virtual iGPUImage::StorageT getStorage() const { return storage_; }
    virtual void setStorage(iGPUImage::StorageT storage) { storage_ = storage; }

protected:
    iGPUImage::StorageT storage_;
};
