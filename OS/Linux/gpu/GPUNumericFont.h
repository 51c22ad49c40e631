#pragma once

#include "HostMeasuredGPUFont.h"
#include "Ptr.h"
#include "iGPUImage.h"

#include <cstdint>
#include <map>

// Numbers that change every frame, such as a timecode, drawn on the GPU from
// cached characters, so that a running counter makes no new text images.
// Each character is drawn once on the host, white on black, in a cell as
// high and as wide as the font's line; a text is then put together from the
// cells into a new GPU image on every call.
//
// The character map lives with the font. renderText works on the GPU: call
// it with the GPU lock held, as renderers do. The font must be let go before
// OpenGL is reset.
class GPUNumericFont : public HostMeasuredGPUFont
{
public:
    // Draws the characters of a counter or timecode at once, on the host: a
    // GPU font is drawn with the host font it wraps.
    explicit GPUNumericFont(const Kv::Ptr<iFont>& font);

    // A new image of the text for every call; its characters are cached first.
    ImageDescriptionEx renderText(const TextDescription& description) const override;

    // Draws and uploads the characters not yet cached; none cached, no work.
    void addToCache(const LightweightString<wchar_t>& text) const;
    bool isCached(wchar_t character) const;
    // The cached characters side by side, blanks as black gaps of the space
    // width; a character not cached ends the text.
    ImageDescriptionEx createCompoundImage(const TextDescription& description) const;

private:
    struct CachedCharacter
    {
        Kv::Ptr<iGPUImage> image;
        std::uint16_t width = 0;
    };

    mutable std::map<wchar_t, CachedCharacter> characters;
    XY<int> cellSize;
    std::int32_t spaceWidth = 0;
};
