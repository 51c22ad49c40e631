#pragma once

#include "XY.h"

// Writes TIFF files through libtiff: 8-bit RGBA, uncompressed, alpha
// associated, so premultiplied pixels go out as they are.
class TiffWriter
{
public:
    // pixels are bytes B, G, R, A, premultiplied.
    static bool write(const unsigned char* pixels, const XY<int>& size, unsigned int stride, const char* path);
};
