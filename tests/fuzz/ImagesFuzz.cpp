// Image files: the bytes as a file loaded through the image manager as PNG and
// as JPEG. A decoded image must keep every promise of its lock: every byte of
// every row it says it has is readable, and its pixels are premultiplied.

#include "FuzzSupport.h"

#include "OS.h"
#include "iHostImage.h"
#include "iImageManager.h"
#include "iPixelGuard.h"
#include "iUtils.h"

namespace
{
    // Where the pixels' sum goes, so that reading them is not optimised away.
    volatile unsigned pixelSum;

    unsigned readEveryPixel(iHostImage& image)
    {
        const Kv::Ptr<iPixelGuard> guard = image.lock();
        const XY<int> size = guard->getSize();
        const unsigned stride = guard->getStride();
        const unsigned char* pixels = guard->getPixels();
        expect(size.x == image.getSize().x && size.y == image.getSize().y, "the lock holds the image's size");
        expect(pixels != nullptr && stride >= unsigned(size.x) * 4, "a decoded image has rows of 32-bit pixels");
        unsigned sum = 0;
        for (int row = 0; row < size.y; ++row) {
            const unsigned char* line = pixels + std::size_t(row) * stride;
            for (unsigned byte = 0; byte < stride; ++byte)
                sum += line[byte];
            for (int x = 0; x < size.x; ++x) {
                const unsigned char* bgra = line + 4 * x;
                expect(bgra[0] <= bgra[3] && bgra[1] <= bgra[3] && bgra[2] <= bgra[3], "pixels are premultiplied");
            }
        }
        return sum;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const ScratchFolder folder;
    const std::string path = folder.write("image", data, size);
    const LightweightString<wchar_t> name = OS()->utils()->fromUTF8(path.c_str(), -1);
    for (const char* format : {"png", "jpeg"}) {
        const Kv::Ptr<iHostImage> image = OS()->imageManager()->loadImage(name, format);
        if (!image)
            continue;
        expect(image->getSize().x > 0 && image->getSize().y > 0, "a loaded image has pixels");
        pixelSum = readEveryPixel(*image);
    }
    return 0;
}
