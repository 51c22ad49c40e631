#pragma once

#include "LightweightString.h"
#include "XY.h"
#include "iObject.h"

#include <cstdint>
#include <vector>

// A font at one size and style: measures a line of text and places a caret or
// a click in it. Pixel positions count from the start of the line. A font may
// be shared between threads; its operations keep no state but a cache.
class KV_API iFont : public virtual iObject
{
public:
    // Each value rounded up to a whole pixel.
    struct Metrics
    {
        int16_t capHeight;
        int16_t descent;
        int16_t lineHeight; // ascent plus descent, added before rounding
        int16_t ascent;
    };

    struct CharLocation
    {
        uint32_t index;
        uint32_t pixel;
    };

    // Words are separated by the space character alone: tabs do not count.
    // Any other value leaves the position where it is.
    enum eCharSeekMethod : int
    {
        ePreviousCharacter = 0,
        eNextCharacter = 1,
        eNextWordStart = 2,
        ePreviousWordStart = 3,
        eLineStart = 4,
        eLineEnd = 5,
    };

    virtual Metrics getMetrics() const = 0;
    virtual unsigned int getStyle() const = 0;
    // The width and line height of the first maxChars characters; 0 and -1
    // both mean all of them. An empty text, or one that cannot be shaped,
    // measures (0, 0). The width is cut to 16 bits, so it wraps past 65535.
    virtual XY<int> measure(const LightweightString<wchar_t>& text, short maxChars) const = 0;
    // Appends, without clearing, the pixel position of the end of each
    // character; characters shaped into one glyph share a position.
    virtual void measure(const LightweightString<wchar_t>& text, std::vector<int>& positions) const = 0;
    // The caret index that the method seeks to from position, and its pixel.
    virtual CharLocation locateCharacter(const LightweightString<wchar_t>& text, eCharSeekMethod method,
                                         unsigned int position) const = 0;
    // The caret index nearest to pixel: a click in the right half of a
    // character goes after it. The pixel is returned unchanged.
    virtual CharLocation getCharacterUnderPixel(const LightweightString<wchar_t>& text, unsigned int pixel) const = 0;
};
static_assert(sizeof(iFont::Metrics) == 8);
static_assert(sizeof(iFont::CharLocation) == 8);
