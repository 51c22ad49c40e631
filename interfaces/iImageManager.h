#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iHostImage.h"
#include "iObject.h"

#include <vector>

// Image files. Reading knows PNG and JPEG; saving knows PNG, JPEG, TIFF and
// BMP, chosen by the path's extension.
class KV_API iImageManager : public virtual iObject
{
public:
    // format names the decoder ("png", "jpg", "jpeg", in any case). Null, with
    // a line on standard output, when nothing could be read.
    virtual Kv::Ptr<iHostImage> loadImage(const LightweightString<wchar_t>& path, const LightweightString<char>& format) = 0;
    // quality 1 to 100 applies to lossy formats; any other value leaves the
    // encoder's default.
    virtual bool saveImage(Kv::Ptr<iHostImage> image, const LightweightString<wchar_t>& path, int quality) = 0;
    virtual std::vector<LightweightString<wchar_t>> supportedTypes() const = 0;
};
