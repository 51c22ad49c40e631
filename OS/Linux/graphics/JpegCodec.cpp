#include "JpegCodec.h"

#include "StdioFile.h"

#include <csetjmp>
#include <cstdio>
#include <jerror.h>
#include <jpeglib.h>

namespace
{
    // Every scan of a progressive file is a pass over the whole image, and a
    // scan can take a dozen bytes: without a bound, a file of a few megabytes
    // holds the decoder for many minutes. Encoders write ten or so.
    constexpr int kMaxScans = 100;

    // libjpeg's default error handler ends the process: ours jumps back.
    struct JpegError
    {
        jpeg_error_mgr manager;
        std::jmp_buf jump;
    };

    [[noreturn]] void jumpOnError(j_common_ptr info)
    {
        std::longjmp(reinterpret_cast<JpegError*>(info->err)->jump, 1);
    }

    // Most warnings are harmless, but libjpeg pads a truncated file with grey
    // and calls that a warning: such a file counts as unreadable.
    void quietMessage(j_common_ptr info, int level)
    {
        if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF)
            jumpOnError(info);
    }

    void installErrorManager(JpegError& error)
    {
        jpeg_std_error(&error.manager);
        error.manager.error_exit = jumpOnError;
        error.manager.emit_message = quietMessage;
    }

    // Called between the steps of reading, a new scan among them.
    void refuseEndlessScans(j_common_ptr info)
    {
        if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > kMaxScans)
            jumpOnError(info);
    }

    // The setjmp targets hold no C++ objects, so a longjmp skips no destructor.
    bool readHeader(jpeg_decompress_struct& decoder, JpegError& error, jpeg_progress_mgr& progress, FILE* file)
    {
        if (setjmp(error.jump))
            return false;
        // Creation clears every field but the error manager.
        jpeg_create_decompress(&decoder);
        progress.progress_monitor = refuseEndlessScans;
        decoder.progress = &progress;
        jpeg_stdio_src(&decoder, file);
        jpeg_read_header(&decoder, TRUE);
        decoder.out_color_space = JCS_EXT_BGRA;
        jpeg_calc_output_dimensions(&decoder);
        return true;
    }

    bool readRows(jpeg_decompress_struct& decoder, JpegError& error, unsigned char* pixels)
    {
        if (setjmp(error.jump))
            return false;
        jpeg_start_decompress(&decoder);
        const std::size_t stride = std::size_t(decoder.output_width) * 4;
        JSAMPROW rows[4];
        while (decoder.output_scanline < decoder.output_height) {
            const JDIMENSION first = decoder.output_scanline;
            const JDIMENSION count = decoder.output_height - first < 4 ? decoder.output_height - first : 4;
            for (JDIMENSION row = 0; row < count; ++row)
                rows[row] = pixels + (first + row) * stride;
            jpeg_read_scanlines(&decoder, rows, count);
        }
        jpeg_finish_decompress(&decoder);
        return true;
    }

    bool writeRows(jpeg_compress_struct& encoder, JpegError& error, FILE* file, const XY<int>& size,
                   const unsigned char* pixels, unsigned int stride, int quality)
    {
        if (setjmp(error.jump))
            return false;
        jpeg_create_compress(&encoder);
        jpeg_stdio_dest(&encoder, file);
        encoder.image_width = JDIMENSION(size.x);
        encoder.image_height = JDIMENSION(size.y);
        encoder.input_components = 4;
        encoder.in_color_space = JCS_EXT_BGRA;
        jpeg_set_defaults(&encoder);
        if (quality >= 1 && quality <= 100)
            jpeg_set_quality(&encoder, quality, TRUE);
        jpeg_start_compress(&encoder, TRUE);
        while (encoder.next_scanline < encoder.image_height) {
            JSAMPROW row = const_cast<unsigned char*>(pixels) + std::size_t(encoder.next_scanline) * stride;
            jpeg_write_scanlines(&encoder, &row, 1);
        }
        jpeg_finish_compress(&encoder);
        return true;
    }
}

Kv::Ptr<PixelData> JpegCodec::read(const char* path, XY<int>& size)
{
    StdioFile file(path, "rb");
    if (!file.get())
        return nullptr;
    jpeg_decompress_struct decoder {};
    JpegError error {};
    installErrorManager(error);
    decoder.err = &error.manager;
    jpeg_progress_mgr progress {};

    Kv::Ptr<PixelData> pixels;
    if (readHeader(decoder, error, progress, file.get()) && PixelData::isSizeAllowed(decoder.output_width, decoder.output_height)) {
        pixels = Kv::Ptr<PixelData>(new PixelData(decoder.output_width, decoder.output_height, 4));
        if (readRows(decoder, error, pixels->getData()))
            size = XY<int>(int(decoder.output_width), int(decoder.output_height));
        else
            pixels = nullptr;
    }
    jpeg_destroy_decompress(&decoder);
    return pixels;
}

bool JpegCodec::write(const unsigned char* pixels, const XY<int>& size, unsigned int stride, const char* path,
                      int quality)
{
    StdioFile file(path, "wb");
    if (!file.get())
        return false;
    jpeg_compress_struct encoder {};
    JpegError error {};
    installErrorManager(error);
    encoder.err = &error.manager;
    const bool written = writeRows(encoder, error, file.get(), size, pixels, stride, quality);
    jpeg_destroy_compress(&encoder);
    return file.close() && written;
}
