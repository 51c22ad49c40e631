#include "PixelData.h"

#include <cstring>

PixelData::PixelData(unsigned int width, unsigned int height, unsigned int bytesPerPixel)
    : data_(new unsigned char[std::size_t(width) * height * bytesPerPixel])
{
}

PixelData::~PixelData()
{
    delete[] data_;
}

bool PixelData::isSizeAllowed(unsigned long width, unsigned long height)
{
    constexpr unsigned long maxSide = 32767;
    constexpr unsigned long maxPixels = 1ul << 27;
    return width > 0 && height > 0 && width <= maxSide && height <= maxSide && width * height <= maxPixels;
}

// Rounded, as Cairo rounds: (c * a + 127) / 255 without a division.
void PixelData::premultiply(unsigned char* pixels, unsigned int count)
{
    for (unsigned char* pixel = pixels; pixel != pixels + std::size_t(count) * 4; pixel += 4) {
        const unsigned int alpha = pixel[3];
        if (alpha == 255)
            continue;
        for (int component = 0; component < 3; ++component) {
            const unsigned int product = pixel[component] * alpha + 128;
            pixel[component] = static_cast<unsigned char>((product + (product >> 8)) >> 8);
        }
    }
}

void PixelData::unpremultiply(const unsigned char* from, unsigned char* to, unsigned int count)
{
    for (std::size_t offset = 0; offset != std::size_t(count) * 4; offset += 4) {
        const unsigned int alpha = from[offset + 3];
        if (alpha == 255 || alpha == 0) {
            std::memcpy(to + offset, from + offset, 4);
            continue;
        }
        for (int component = 0; component < 3; ++component) {
            const unsigned int straight = (from[offset + component] * 255u + alpha / 2) / alpha;
            to[offset + component] = static_cast<unsigned char>(straight > 255 ? 255 : straight);
        }
        to[offset + 3] = static_cast<unsigned char>(alpha);
    }
}
