#pragma once

#include "OS.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

inline std::vector<int> bytesOf(const unsigned char* bytes, int count) { return std::vector<int>(bytes, bytes + count); }

// A fresh folder under /tmp for each test, removed afterwards, and a way to
// write PNG files straight with libpng, as another program would.
class ImageScratchFolder : public testing::Test
{
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/kvos-graphics-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
    }

    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string path(const std::string& name) const { return folder + "/" + name; }
    LightweightString<wchar_t> wide(const std::string& name) const
    {
        return OS()->utils()->fromUTF8(path(name).c_str(), -1);
    }

    // One row, repeated; without a row only the header is written. beforeInfo
    // adds chunks such as a palette.
    std::string writePng(const std::string& name, png_uint_32 width, png_uint_32 height, int colourType,
                         std::vector<png_byte> row = {},
                         const std::function<void(png_structp, png_infop)>& beforeInfo = {}) const
    {
        FILE* file = std::fopen(path(name).c_str(), "wb");
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(png);
        png_init_io(png, file);
        png_set_IHDR(png, info, width, height, 8, colourType, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        if (beforeInfo)
            beforeInfo(png, info);
        png_write_info(png, info);
        for (png_uint_32 y = 0; !row.empty() && y < height; ++y)
            png_write_row(png, row.data());
        if (!row.empty())
            png_write_end(png, nullptr);
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        return name;
    }

    // 2 by 1 RGBA: opaque red, then the given blue at straight alpha 128.
    std::string writeTwoPixelPng(png_byte blue) const
    {
        return writePng("two.png", 2, 1, PNG_COLOR_TYPE_RGB_ALPHA, {255, 0, 0, 255, 0, 0, blue, 128});
    }

    std::string folder;
};
