#include "TiffWriter.h"

#include <tiffio.h>

#include <vector>

namespace
{
    class TiffHandle
    {
    public:
        explicit TiffHandle(const char* path) : tiff_(TIFFOpen(path, "w")) {}
        ~TiffHandle()
        {
            if (tiff_)
                TIFFClose(tiff_);
        }
        TiffHandle(const TiffHandle&) = delete;
        TiffHandle& operator=(const TiffHandle&) = delete;

        TIFF* get() const { return tiff_; }
        // TIFFClose writes the directory but reports nothing: a flush first
        // is what tells whether the file is whole.
        bool close()
        {
            const bool flushed = TIFFFlush(tiff_) == 1;
            TIFFClose(tiff_);
            tiff_ = nullptr;
            return flushed;
        }

    private:
        TIFF* tiff_;
    };
}

bool TiffWriter::write(const unsigned char* pixels, const XY<int>& size, unsigned int stride, const char* path)
{
    TiffHandle tiff(path);
    if (!tiff.get())
        return false;
    const uint16_t extraSamples[] = {EXTRASAMPLE_ASSOCALPHA};
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, uint32_t(size.x));
    TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, uint32_t(size.y));
    TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, 4);
    TIFFSetField(tiff.get(), TIFFTAG_EXTRASAMPLES, 1, extraSamples);
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tiff.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff.get(), TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff.get(), 0));

    std::vector<unsigned char> row(std::size_t(size.x) * 4);
    for (int y = 0; y < size.y; ++y) {
        const unsigned char* source = pixels + std::size_t(y) * stride;
        for (std::size_t x = 0; x < std::size_t(size.x) * 4; x += 4) {
            row[x] = source[x + 2];
            row[x + 1] = source[x + 1];
            row[x + 2] = source[x];
            row[x + 3] = source[x + 3];
        }
        if (TIFFWriteScanline(tiff.get(), row.data(), uint32_t(y), 0) != 1)
            return false;
    }
    return tiff.close();
}
