#pragma once

#include "PixelData.h"
#include "Ptr.h"
#include "XY.h"

// PNG files through libpng. Pixels on both sides are bytes B, G, R, A,
// premultiplied, 8 bits a component.
class PngCodec
{
public:
    // Rows without a gap; null, and size untouched, for anything libpng
    // refuses, a truncated file, or a size beyond the image limits.
    static Kv::Ptr<PixelData> read(const char* path, XY<int>& size);
    static bool write(const unsigned char* pixels, const XY<int>& size, unsigned int stride, const char* path);
};
