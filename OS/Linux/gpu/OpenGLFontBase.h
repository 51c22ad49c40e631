#pragma once

#include "HostMeasuredGPUFont.h"
#include "Ptr.h"
#include "iHostImage.h"

// A GPU font over a host font: texts are drawn on the host, white on black,
// and reach the GPU once, through GPUTextCache, keyed by font and text alone;
// any colour of the same text takes the same image. Measuring is the host
// font's.
//
// renderText works on the GPU: call it with the GPU lock held, as renderers
// do.
class OpenGLFontBase : public HostMeasuredGPUFont
{
public:
    explicit OpenGLFontBase(const Kv::Ptr<iFont>& hostFont);

    // The host font's metrics as they were when this font was made.
    Metrics getMetrics() const override;
    ImageDescriptionEx renderText(const TextDescription& description) const override;

    // The host image of a cache key, or null when there is nothing to draw.
    virtual Kv::Ptr<iHostImage> renderHostText(const TextDescription& key) const = 0;

    // Lets go of every cached text image; fonts need it before OpenGL goes.
    static void shutdown();

private:
    Metrics metrics;
};
