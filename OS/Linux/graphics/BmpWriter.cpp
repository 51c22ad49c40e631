#include "BmpWriter.h"

#include "PixelData.h"

#include <cstdint>
#include <fstream>
#include <vector>

namespace
{
    void putLittle(std::vector<unsigned char>& bytes, std::uint32_t value, int width)
    {
        for (int byte = 0; byte < width; ++byte)
            bytes.push_back(static_cast<unsigned char>(value >> (8 * byte)));
    }
}

bool BmpWriter::write(const unsigned char* pixels, const XY<int>& size, unsigned int stride, const char* path)
{
    constexpr std::uint32_t fileHeaderSize = 14;
    constexpr std::uint32_t infoHeaderSize = 40;
    const std::uint32_t rowBytes = std::uint32_t(size.x) * 4;
    const std::uint32_t imageBytes = rowBytes * std::uint32_t(size.y);

    std::vector<unsigned char> header;
    header.push_back('B');
    header.push_back('M');
    putLittle(header, fileHeaderSize + infoHeaderSize + imageBytes, 4);
    putLittle(header, 0, 4);
    putLittle(header, fileHeaderSize + infoHeaderSize, 4);
    putLittle(header, infoHeaderSize, 4);
    putLittle(header, std::uint32_t(size.x), 4);
    putLittle(header, std::uint32_t(size.y), 4); // positive: rows bottom up
    putLittle(header, 1, 2);                     // planes
    putLittle(header, 32, 2);                    // bits a pixel
    putLittle(header, 0, 4);                     // BI_RGB
    putLittle(header, imageBytes, 4);
    putLittle(header, 2835, 4); // 72 dots an inch, in dots a metre
    putLittle(header, 2835, 4);
    putLittle(header, 0, 4);
    putLittle(header, 0, 4);

    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file)
        return false;
    file.write(reinterpret_cast<const char*>(header.data()), std::streamsize(header.size()));
    std::vector<unsigned char> row(rowBytes);
    for (int y = size.y - 1; y >= 0; --y) {
        PixelData::unpremultiply(pixels + std::size_t(y) * stride, row.data(), unsigned(size.x));
        file.write(reinterpret_cast<const char*>(row.data()), std::streamsize(rowBytes));
    }
    file.close();
    return !file.fail();
}
