#include "GPUFont.h"

#include "CairoImage.h"
#include "Font.h"

GPUFont::GPUFont(const LightweightString<wchar_t>& family, unsigned int size, unsigned int style, unsigned int spare)
    : OpenGLFontBase(Kv::Ptr<iFont>(new Font(family, size, style, spare)))
{
}

Kv::Ptr<iHostImage> GPUFont::renderHostText(const TextDescription& key) const
{
    const XY<int> measured = measure(key.text, -1);
    const XY<int> size(measured.x + 2, measured.y + 2);
    if (size.x == 0 && size.y == 0)
        return nullptr;
    const Kv::Ptr<iHostImage> image(new CairoImage(size, 32, 1));
    const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(true);
    RectDescription background;
    background.rect = {0, 0, size.x, size.y};
    renderer->renderMulti(&background, 1);
    renderer->renderMulti(&key, 1);
    return image;
}
