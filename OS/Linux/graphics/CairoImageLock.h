#pragma once

#include "PixelData.h"
#include "Ptr.h"
#include "iPixelGuard.h"

// A CairoImage's pixels, kept alive while the lock lives. It excludes no one.
// The lock of an empty image holds no pixels.
class CairoImageLock : public iPixelGuard
{
public:
    CairoImageLock(Kv::Ptr<PixelData> pixels, const XY<int>& size, unsigned int stride);

    unsigned char* getPixels() override { return pixels_ ? pixels_->getData() : nullptr; }
    XY<int> getSize() const override { return size_; }
    unsigned int getStride() const override { return stride_; }

private:
    Kv::Ptr<PixelData> pixels_;
    XY<int> size_;
    unsigned int stride_;
};
