#include "BenchScratch.h"
#include "OS.h"

#include <benchmark/benchmark.h>
#include <jpeglib.h>
#include <png.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace
{
    constexpr int kWidth = 3840;
    constexpr int kHeight = 2160;

    const std::string& scratch() { return benchScratch(); }

    LightweightString<wchar_t> wide(const std::string& path)
    {
        return OS()->utils()->fromUTF8(path.c_str(), -1);
    }

    struct Sources
    {
        std::string png;
        std::string jpeg;
        Kv::Ptr<iHostImage> image;
    };

    // Opaque, photo-like: smooth gradients with a little noise, so that the
    // codecs have real work and nothing degenerate to shortcut.
    const Sources& sources()
    {
        static const Sources made = [] {
            Sources result;
            result.png = scratch() + "/frame.png";
            result.jpeg = scratch() + "/frame.jpg";
            std::vector<unsigned char> bgra(std::size_t(kWidth) * kHeight * 4);
            unsigned int noise = 12345;
            for (int y = 0; y < kHeight; ++y)
                for (int x = 0; x < kWidth; ++x) {
                    noise = noise * 1103515245u + 12345u;
                    unsigned char* pixel = bgra.data() + (std::size_t(y) * kWidth + x) * 4;
                    pixel[0] = static_cast<unsigned char>(x * 255 / kWidth + (noise >> 28));
                    pixel[1] = static_cast<unsigned char>(y * 255 / kHeight + (noise >> 29));
                    pixel[2] = static_cast<unsigned char>((x + y) * 255 / (kWidth + kHeight));
                    pixel[3] = 255;
                }
            png_image png {};
            png.version = PNG_IMAGE_VERSION;
            png.width = kWidth;
            png.height = kHeight;
            png.format = PNG_FORMAT_BGRA;
            png_image_write_to_file(&png, result.png.c_str(), 0, bgra.data(), 0, nullptr);
            png_image_free(&png);
            result.image = OS()->imageManager()->loadImage(wide(result.png), "png");
            OS()->imageManager()->saveImage(result.image, wide(result.jpeg), 90);
            return result;
        }();
        return made;
    }

    void BM_LoadPng4K(benchmark::State& state)
    {
        const LightweightString<wchar_t> path = wide(sources().png);
        for (auto _ : state) {
            Kv::Ptr<iHostImage> image = OS()->imageManager()->loadImage(path, "png");
            Kv::Ptr<iPixelGuard> pixels = image->lock();
            benchmark::DoNotOptimize(pixels->getPixels());
        }
    }
    BENCHMARK(BM_LoadPng4K)->Unit(benchmark::kMillisecond);

    // libpng's simplified reader straight into BGRA.
    void BM_LibpngReadBGRA4K(benchmark::State& state)
    {
        const std::string& path = sources().png;
        for (auto _ : state) {
            png_image png {};
            png.version = PNG_IMAGE_VERSION;
            png_image_begin_read_from_file(&png, path.c_str());
            png.format = PNG_FORMAT_BGRA;
            std::unique_ptr<unsigned char[]> pixels(new unsigned char[PNG_IMAGE_SIZE(png)]);
            png_image_finish_read(&png, nullptr, pixels.get(), 0, nullptr);
            benchmark::DoNotOptimize(pixels.get());
        }
    }
    BENCHMARK(BM_LibpngReadBGRA4K)->Unit(benchmark::kMillisecond);

    void BM_LoadJpeg4K(benchmark::State& state)
    {
        const LightweightString<wchar_t> path = wide(sources().jpeg);
        for (auto _ : state) {
            Kv::Ptr<iHostImage> image = OS()->imageManager()->loadImage(path, "jpg");
            Kv::Ptr<iPixelGuard> pixels = image->lock();
            benchmark::DoNotOptimize(pixels->getPixels());
        }
    }
    BENCHMARK(BM_LoadJpeg4K)->Unit(benchmark::kMillisecond);

    // libjpeg-turbo's plain decompressor, one scanline at a time, into BGRA.
    void BM_LibjpegReadBGRA4K(benchmark::State& state)
    {
        const std::string& path = sources().jpeg;
        for (auto _ : state) {
            FILE* file = std::fopen(path.c_str(), "rb");
            jpeg_decompress_struct decoder {};
            jpeg_error_mgr error {};
            decoder.err = jpeg_std_error(&error);
            jpeg_create_decompress(&decoder);
            jpeg_stdio_src(&decoder, file);
            jpeg_read_header(&decoder, TRUE);
            decoder.out_color_space = JCS_EXT_BGRA;
            jpeg_start_decompress(&decoder);
            const std::size_t stride = std::size_t(decoder.output_width) * 4;
            std::unique_ptr<unsigned char[]> pixels(new unsigned char[stride * decoder.output_height]);
            while (decoder.output_scanline < decoder.output_height) {
                JSAMPROW row = pixels.get() + decoder.output_scanline * stride;
                jpeg_read_scanlines(&decoder, &row, 1);
            }
            jpeg_finish_decompress(&decoder);
            jpeg_destroy_decompress(&decoder);
            std::fclose(file);
            benchmark::DoNotOptimize(pixels.get());
        }
    }
    BENCHMARK(BM_LibjpegReadBGRA4K)->Unit(benchmark::kMillisecond);

    void BM_SavePng4K(benchmark::State& state)
    {
        const Sources& source = sources();
        const LightweightString<wchar_t> path = wide(scratch() + "/saved.png");
        for (auto _ : state)
            benchmark::DoNotOptimize(OS()->imageManager()->saveImage(source.image, path, 0));
    }
    BENCHMARK(BM_SavePng4K)->Unit(benchmark::kMillisecond);

    // libpng writing the same BGRA pixels at zlib's default level, which is
    // the level the library leaves in place.
    void BM_LibpngWriteBGRA4K(benchmark::State& state)
    {
        const Sources& source = sources();
        const std::string path = scratch() + "/anchor.png";
        Kv::Ptr<iPixelGuard> pixels = source.image->lock();
        std::vector<png_bytep> rows(kHeight);
        for (int y = 0; y < kHeight; ++y)
            rows[y] = pixels->getPixels() + std::size_t(y) * pixels->getStride();
        for (auto _ : state) {
            FILE* file = std::fopen(path.c_str(), "wb");
            png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
            png_infop info = png_create_info_struct(png);
            png_init_io(png, file);
            png_set_compression_level(png, Z_DEFAULT_COMPRESSION);
            png_set_IHDR(png, info, kWidth, kHeight, 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                         PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            png_write_info(png, info);
            png_set_bgr(png);
            png_write_image(png, rows.data());
            png_write_end(png, nullptr);
            png_destroy_write_struct(&png, &info);
            std::fclose(file);
        }
    }
    BENCHMARK(BM_LibpngWriteBGRA4K)->Unit(benchmark::kMillisecond);
}
