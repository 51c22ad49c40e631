#pragma once

#include "XY.h"
#include "iObject.h"

// Keeps an image's pixels alive while it is held. It does not give exclusive
// access: two holders write the same bytes.
class KV_API iPixelGuard : public virtual iObject
{
public:
    virtual unsigned char* getPixels() = 0;
    virtual XY<int> getSize() const = 0;
    // Bytes from one row to the next.
    virtual unsigned int getStride() const = 0;
};
