#include "ImageManager.h"

#include "BmpWriter.h"
#include "CairoImage.h"
#include "JpegCodec.h"
#include "PngCodec.h"
#include "TiffWriter.h"
#include "iFileManager.h"
#include "iOperatingSystem.h"
#include "iUtils.h"
#include "../files/FileManager.h"

#include <cstdio>

namespace
{
    enum class FileType
    {
        unknown,
        tiff,
        png,
        jpeg,
        bmp,
    };

    FileType typeOf(const LightweightString<char>& path)
    {
        if (FileManager::extMatch(path.c_str(), "tiff") || FileManager::extMatch(path.c_str(), "tif"))
            return FileType::tiff;
        if (FileManager::extMatch(path.c_str(), "png"))
            return FileType::png;
        if (FileManager::extMatch(path.c_str(), "jpg") || FileManager::extMatch(path.c_str(), "jpeg"))
            return FileType::jpeg;
        if (FileManager::extMatch(path.c_str(), "bmp"))
            return FileType::bmp;
        return FileType::unknown;
    }

    class SurfaceHandle
    {
    public:
        explicit SurfaceHandle(cairo_surface_t* surface) : surface_(surface) {}
        ~SurfaceHandle()
        {
            if (surface_)
                cairo_surface_destroy(surface_);
        }
        SurfaceHandle(const SurfaceHandle&) = delete;
        SurfaceHandle& operator=(const SurfaceHandle&) = delete;

        cairo_surface_t* get() const { return surface_; }

    private:
        cairo_surface_t* surface_;
    };
}

Kv::Ptr<iHostImage> ImageManager::loadImage(const LightweightString<wchar_t>& path,
                                            const LightweightString<char>& format)
{
    const bool found = OS()->fileMgr()->fileExists(path);
    if (found) {
        Kv::Ptr<iHostImage> image(new CairoImage(path, format));
        if (image->getSize().x > 0 && image->getSize().y > 0)
            return image;
    }
    const LightweightString<char> utf8Path = OS()->utils()->toUTF8(path);
    if (found)
        std::printf("MediaServices::loadImage() : failed to load %s\n", utf8Path.c_str());
    else
        std::printf("MediaServices::loadImage() : failed to load %s (file not found)\n", utf8Path.c_str());
    return nullptr;
}

bool ImageManager::saveImage(Kv::Ptr<iHostImage> image, const LightweightString<wchar_t>& path, int quality)
{
    return savePNG(image, path, quality);
}

std::vector<LightweightString<wchar_t>> ImageManager::supportedTypes() const
{
    return {};
}

bool ImageManager::savePNG(Kv::Ptr<iHostImage> image, const LightweightString<wchar_t>& path, int quality)
{
    if (!image)
        return false;
    const LightweightString<char> hostPath = FileManager::KvtoOS(path);
    const FileType type = typeOf(hostPath);
    if (type == FileType::unknown)
        return false;
    // Only the JPEG encoder has a lossy quality; the others take none.
    const int jpegQuality = quality >= 1 && quality <= 100 ? quality : 0;

    SurfaceHandle surface(CairoImage::makeSurface(image));
    if (!surface.get())
        return false;
    cairo_surface_flush(surface.get());
    const unsigned char* pixels = cairo_image_surface_get_data(surface.get());
    const XY<int> size(cairo_image_surface_get_width(surface.get()), cairo_image_surface_get_height(surface.get()));
    const unsigned int stride = unsigned(cairo_image_surface_get_stride(surface.get()));
    if (!pixels || size.x <= 0 || size.y <= 0)
        return false;

    switch (type) {
    case FileType::tiff:
        return TiffWriter::write(pixels, size, stride, hostPath.c_str());
    case FileType::png:
        return PngCodec::write(pixels, size, stride, hostPath.c_str());
    case FileType::jpeg:
        return JpegCodec::write(pixels, size, stride, hostPath.c_str(), jpegQuality);
    case FileType::bmp:
        return BmpWriter::write(pixels, size, stride, hostPath.c_str());
    case FileType::unknown:
        break;
    }
    return false;
}
