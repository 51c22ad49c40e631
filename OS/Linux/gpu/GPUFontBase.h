#pragma once

#include "GraphicPrimitives.h"
#include "iFont.h"

// A font whose texts reach the GPU as images: the renderer draws the image of
// a text through the text effect, using it as coverage.
class GPUFontBase : public iFont
{
public:
    // The text's image, with blend set and source covering it; no image when
    // the text is empty or cannot be drawn. The caller sets dest and the effect.
    virtual ImageDescriptionEx renderText(const TextDescription& description) const = 0;
};
