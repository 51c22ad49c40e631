#pragma once

#include "OS.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

// A fresh folder under /tmp for each test, removed afterwards, and a way to
// write small PNG files straight with libpng, as another program would.
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

    static LightweightString<wchar_t> wideOf(const std::string& text) { return OS()->utils()->fromUTF8(text.c_str(), -1); }

    // A 2 by 1 RGBA PNG: opaque red, then the given blue at straight alpha 128.
    std::string writeTwoPixelPng(png_byte blue) const
    {
        const std::string name = path("two.png");
        FILE* file = std::fopen(name.c_str(), "wb");
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(png);
        png_init_io(png, file);
        png_set_IHDR(png, info, 2, 1, 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        png_byte row[] = {255, 0, 0, 255, 0, 0, blue, 128};
        png_write_row(png, row);
        png_write_end(png, nullptr);
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        return name;
    }

    std::string folder;
};
