#pragma once

#include "OpenGLFontBase.h"

// The GPU font that MediaServices makes: a host Font of the same family, size
// and style draws its texts.
class GPUFont : public OpenGLFontBase
{
public:
    // The last argument has no effect, as for Font.
    GPUFont(const LightweightString<wchar_t>& family, unsigned int size, unsigned int style, unsigned int);

    // White on opaque black, with a pixel to spare on every side.
    Kv::Ptr<iHostImage> renderHostText(const TextDescription& key) const override;
};
