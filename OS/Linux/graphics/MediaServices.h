#pragma once

#include "iMediaServices.h"

// What OS()->mediaServices() returns: joins images and fonts behind one
// factory. It is built with the facade, so its constructor does nothing.
class MediaServices : public iMediaServices
{
public:
    Kv::Ptr<iHostImage> createHostSurface(const XY<int>& size) const override;
    Kv::Ptr<iHostImage> createGPUReadySurface(const XY<int>& size, iGPUImage::eFormat format) const override;
    Kv::Ptr<iFont> createHostSurfaceFont(const LightweightString<wchar_t>& family, unsigned int size,
                                         unsigned int style) const override;
};
