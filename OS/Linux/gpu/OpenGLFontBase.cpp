#include "OpenGLFontBase.h"

#include "GPUTextCache.h"

OpenGLFontBase::OpenGLFontBase(const Kv::Ptr<iFont>& hostFont)
    : HostMeasuredGPUFont(hostFont), metrics(hostFont->getMetrics())
{
}

iFont::Metrics OpenGLFontBase::getMetrics() const
{
    return metrics;
}

ImageDescriptionEx OpenGLFontBase::renderText(const TextDescription& description) const
{
    ImageDescriptionEx result;
    result.blend = 1;
    if (description.text.empty())
        return result;

    // Only font and text tell cached images apart: the image is drawn in
    // white, on the baseline at the ascent, and coloured by the text effect.
    TextDescription key = description;
    key.position = XY<int>(0, metrics.ascent);
    key.colour = NormalisedRGB(1.0f, 1.0f, 1.0f, 1.0f);
    key.font = hostFont;
    key.alignment = TextAlignment();
    // The renderer draws a selection itself: on the host it would become
    // coverage in the one image that serves the text in every colour.
    key.selectionStart = key.selectionEnd = 0;

    GPUTextCache& cache = GPUTextCache::instance();
    Kv::Ptr<iGPUImage> image = cache.find(key);
    if (!image) {
        const XY<int> size = hostFont->measure(key.text, -1);
        if (size.x != 0 || size.y != 0) {
            const Kv::Ptr<iHostImage> hostImage = renderHostText(key);
            if (hostImage)
                image = cache.copyToGPU(key, hostImage);
        }
    }
    if (!image)
        return result;

    result.image = image;
    const XY<int> imageSize = image->getSize();
    result.source = Kv::Rectangle<float>{0.0f, 0.0f, float(imageSize.x), float(imageSize.y)};
    return result;
}

void OpenGLFontBase::shutdown()
{
    GPUTextCache::instance().purge();
}
