#include "GPUNumericFont.h"

#include "BatchPrimitivesRenderer.h"
#include "OS.h"

#include <algorithm>

GPUNumericFont::GPUNumericFont(const Kv::Ptr<iFont>& font) : HostMeasuredGPUFont(hostFontOf(font))
{
    const int height = hostFont->measure(L"0", -1).y;
    cellSize = XY<int>(height, height);
    spaceWidth = hostFont->measure(L"0 0", -1).x - hostFont->measure(L"00", -1).x;
    // The digit 0 stands twice; the second is already cached.
    addToCache(L"01234567890.:;+-<>%");
}

ImageDescriptionEx GPUNumericFont::renderText(const TextDescription& description) const
{
    if (description.text.empty()) {
        ImageDescriptionEx result;
        result.blend = 1;
        return result;
    }
    addToCache(description.text);
    return createCompoundImage(description);
}

void GPUNumericFont::addToCache(const LightweightString<wchar_t>& text) const
{
    const wchar_t* const begin = text.c_str();
    const wchar_t* const end = begin + text.size();
    if (std::all_of(begin, end, [this](wchar_t character) { return isCached(character); }))
        return;

    iMediaServices* const media = OS()->mediaServices();
    TextDescription description(L" ", XY<int>(0, hostFont->getMetrics().ascent), NormalisedRGB(1.0f, 1.0f, 1.0f, 1.0f),
                                TextAlignment(), hostFont);
    const Kv::Ptr<iHostImage> scratch = media->createHostSurface(cellSize);
    const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = scratch->getPrimitivesRenderer(true);
    RectDescription background;
    background.rect = {0, 0, cellSize.x, cellSize.y};
    for (const wchar_t* character = begin; character != end; ++character) {
        if (isCached(*character))
            continue;
        renderer->renderMulti(&background, 1);
        description.text = LightweightString<wchar_t>(character, 1);
        renderer->renderMulti(&description, 1);
        const Kv::Ptr<iGPUImage> image = media->copyToGPU(scratch);
        const auto width = static_cast<std::uint16_t>(hostFont->measure(description.text, -1).x);
        characters.emplace(*character, CachedCharacter{image, width});
    }
}

bool GPUNumericFont::isCached(wchar_t character) const
{
    return characters.contains(character);
}

ImageDescriptionEx GPUNumericFont::createCompoundImage(const TextDescription& description) const
{
    ImageDescriptionEx result;
    result.blend = 1;
    const LightweightString<wchar_t>& text = description.text;
    const Kv::Ptr<iGPUImage> image =
        OS()->mediaServices()->createGPUSurface(XY<int>(cellSize.x * int(text.size()), cellSize.y), iGPUImage::eBGRA8);
    const Kv::Ptr<iOpenGLImage> target = Kv::dynamicCast<iOpenGLImage>(image);
    if (!target || target->getTextureID() == 0)
        return result;

    int pen = 0;
    {
        const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(false);
        BatchPrimitivesRenderer<RectDescription, 20> blanks(renderer.get());
        BatchPrimitivesRenderer<ImageDescription, 20> glyphs(renderer.get());
        for (unsigned int index = 0; index < text.size(); ++index) {
            if (text[index] == L' ') {
                RectDescription blank;
                blank.rect = {pen, 0, pen + spaceWidth, cellSize.y};
                blanks.render(blank);
                pen += spaceWidth;
                continue;
            }
            const auto found = characters.find(text[index]);
            if (found == characters.end())
                break;
            const Kv::Ptr<iGPUImage>& glyph = found->second.image;
            glyphs.render(ImageDescription(glyph, XY<int>(pen, 0), {0, 0, glyph->getSize().x, glyph->getSize().y},
                                           false));
            pen += found->second.width;
        }
    }
    result.image = image;
    result.source = Kv::Rectangle<float>{0.0f, 0.0f, float(pen), float(cellSize.y)};
    return result;
}
