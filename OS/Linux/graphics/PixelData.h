#pragma once

#include "iObject.h"

#include <cstddef>

// One block of pixel bytes, shared by an image, its locks and the surfaces
// made from it: the bytes live as long as the last of them.
class PixelData : public virtual iObject
{
public:
    // width * height * bytesPerPixel bytes, not cleared.
    PixelData(unsigned int width, unsigned int height, unsigned int bytesPerPixel);
    ~PixelData() override;

    PixelData(const PixelData&) = delete;
    PixelData& operator=(const PixelData&) = delete;

    unsigned char* getData() const { return data_; }

    // The sizes a decoder may allocate for: at least one pixel, no side beyond
    // what Cairo takes, and at most 512 MB, whatever a file declares.
    static bool isSizeAllowed(unsigned long width, unsigned long height);

    // On count pixels of bytes B, G, R, A.
    static void premultiply(unsigned char* pixels, unsigned int count);
    static void unpremultiply(const unsigned char* from, unsigned char* to, unsigned int count);

private:
    unsigned char* data_;
};
