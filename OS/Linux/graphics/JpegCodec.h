#pragma once

#include "PixelData.h"
#include "Ptr.h"
#include "XY.h"

// JPEG files through libjpeg-turbo. Pixels on both sides are bytes B, G, R,
// A, premultiplied; alpha is not stored, so colours are as over black.
class JpegCodec
{
public:
    // Rows without a gap; null, and size untouched, for a corrupt or truncated
    // file, a size beyond the image limits, or more than 100 scans.
    static Kv::Ptr<PixelData> read(const char* path, XY<int>& size);
    // quality 1 to 100 is the encoder's quality; anything else its default.
    static bool write(const unsigned char* pixels, const XY<int>& size, unsigned int stride, const char* path,
                      int quality);
};
