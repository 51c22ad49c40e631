#pragma once

#include "XY.h"

// Writes Windows bitmaps: a 40-byte info header, 32 bits a pixel, B, G, R, A
// straight (not premultiplied), rows bottom up.
class BmpWriter
{
public:
    // pixels are bytes B, G, R, A, premultiplied.
    static bool write(const unsigned char* pixels, const XY<int>& size, unsigned int stride, const char* path);
};
