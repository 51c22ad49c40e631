#include "PngCodec.h"

#include "StdioFile.h"

#include <png.h>

#include <cstdio>
#include <vector>

namespace
{
    // libpng's default handlers print; a bad file is reported by the result.
    void quietError(png_structp png, png_const_charp)
    {
        png_longjmp(png, 1);
    }

    void quietWarning(png_structp, png_const_charp) {}

    // The setjmp targets live in these small functions, which hold no C++
    // objects of their own, so a longjmp from libpng skips no destructor.
    struct PngReadState
    {
        png_structp png = nullptr;
        png_infop info = nullptr;
        png_uint_32 width = 0;
        png_uint_32 height = 0;
        bool hasAlpha = false;
    };

    bool readHeader(PngReadState& state, FILE* file)
    {
        if (setjmp(png_jmpbuf(state.png)))
            return false;
        png_init_io(state.png, file);
        png_set_user_limits(state.png, 32767, 32767);
        png_read_info(state.png, state.info);

        int bitDepth = 0;
        int colourType = 0;
        png_get_IHDR(state.png, state.info, &state.width, &state.height, &bitDepth, &colourType, nullptr, nullptr,
                     nullptr);
        state.hasAlpha = (colourType & PNG_COLOR_MASK_ALPHA) || png_get_valid(state.png, state.info, PNG_INFO_tRNS);

        if (bitDepth == 16)
            png_set_strip_16(state.png);
        if (colourType == PNG_COLOR_TYPE_PALETTE)
            png_set_palette_to_rgb(state.png);
        if (colourType == PNG_COLOR_TYPE_GRAY && bitDepth < 8)
            png_set_expand_gray_1_2_4_to_8(state.png);
        if (png_get_valid(state.png, state.info, PNG_INFO_tRNS))
            png_set_tRNS_to_alpha(state.png);
        if (!(colourType & PNG_COLOR_MASK_COLOR))
            png_set_gray_to_rgb(state.png);
        if (!state.hasAlpha)
            png_set_filler(state.png, 0xFF, PNG_FILLER_AFTER);
        png_set_bgr(state.png);
        png_set_interlace_handling(state.png);
        png_read_update_info(state.png, state.info);
        return png_get_rowbytes(state.png, state.info) == png_size_t(state.width) * 4;
    }

    bool readRows(PngReadState& state, png_bytepp rows)
    {
        if (setjmp(png_jmpbuf(state.png)))
            return false;
        png_read_image(state.png, rows);
        png_read_end(state.png, nullptr);
        return true;
    }

    // PNG stores straight alpha: each row is converted into rowBuffer first.
    bool writeRows(png_structp png, png_infop info, FILE* file, const XY<int>& size, const unsigned char* pixels,
                   unsigned int stride, png_bytep rowBuffer)
    {
        if (setjmp(png_jmpbuf(png)))
            return false;
        png_init_io(png, file);
        png_set_IHDR(png, info, png_uint_32(size.x), png_uint_32(size.y), 8, PNG_COLOR_TYPE_RGB_ALPHA,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        png_set_bgr(png);
        for (int row = 0; row < size.y; ++row) {
            PixelData::unpremultiply(pixels + std::size_t(row) * stride, rowBuffer, unsigned(size.x));
            png_write_row(png, rowBuffer);
        }
        png_write_end(png, nullptr);
        return true;
    }
}

Kv::Ptr<PixelData> PngCodec::read(const char* path, XY<int>& size)
{
    StdioFile file(path, "rb");
    if (!file.get())
        return nullptr;
    PngReadState state;
    state.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, quietError, quietWarning);
    if (!state.png)
        return nullptr;
    state.info = png_create_info_struct(state.png);

    Kv::Ptr<PixelData> pixels;
    if (state.info && readHeader(state, file.get()) && PixelData::isSizeAllowed(state.width, state.height)) {
        pixels = Kv::Ptr<PixelData>(new PixelData(state.width, state.height, 4));
        std::vector<png_bytep> rows(state.height);
        for (png_uint_32 row = 0; row < state.height; ++row)
            rows[row] = pixels->getData() + png_size_t(row) * state.width * 4;
        if (readRows(state, rows.data())) {
            if (state.hasAlpha)
                PixelData::premultiply(pixels->getData(), state.width * state.height);
            size = XY<int>(int(state.width), int(state.height));
        } else {
            pixels = nullptr;
        }
    }
    png_destroy_read_struct(&state.png, state.info ? &state.info : nullptr, nullptr);
    return pixels;
}

bool PngCodec::write(const unsigned char* pixels, const XY<int>& size, unsigned int stride, const char* path)
{
    StdioFile file(path, "wb");
    if (!file.get())
        return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, quietError, quietWarning);
    if (!png)
        return false;
    png_infop info = png_create_info_struct(png);
    std::vector<unsigned char> rowBuffer(std::size_t(size.x) * 4);
    const bool written = info && writeRows(png, info, file.get(), size, pixels, stride, rowBuffer.data());
    png_destroy_write_struct(&png, info ? &info : nullptr);
    return file.close() && written;
}
