#include "MediaServices.h"

#include "CairoImage.h"
#include "Font.h"

Kv::Ptr<iHostImage> MediaServices::createHostSurface(const XY<int>& size) const
{
    return Kv::Ptr<iHostImage>(new CairoImage(size, 32, 1));
}

Kv::Ptr<iHostImage> MediaServices::createGPUReadySurface(const XY<int>& size, iGPUImage::eFormat) const
{
    return createHostSurface(size);
}

Kv::Ptr<iFont> MediaServices::createHostSurfaceFont(const LightweightString<wchar_t>& family, unsigned int size,
                                                    unsigned int style) const
{
    return Kv::Ptr<iFont>(new Font(family, size, style, 0));
}
