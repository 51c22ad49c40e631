#pragma once

#include "iImageManager.h"

// Loads PNG and JPEG files into CairoImages and saves any host image as PNG,
// JPEG, TIFF or BMP. It holds nothing, so it is safe from every thread.
class ImageManager : public iImageManager
{
public:
    Kv::Ptr<iHostImage> loadImage(const LightweightString<wchar_t>& path, const LightweightString<char>& format) override;
    bool saveImage(Kv::Ptr<iHostImage> image, const LightweightString<wchar_t>& path, int quality) override;
    std::vector<LightweightString<wchar_t>> supportedTypes() const override;

    // Writes every format, whatever its name says.
    static bool savePNG(Kv::Ptr<iHostImage> image, const LightweightString<wchar_t>& path, int quality);
};
