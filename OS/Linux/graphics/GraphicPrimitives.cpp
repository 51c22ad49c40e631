#include "GraphicPrimitives.h"

#include <algorithm>
#include <cmath>

Kv::Rectangle<int> RectDescription::getBounds() const { return rect; }

Kv::Rectangle<int> LineDescription::getBounds() const
{
    return {std::min(start.x, end.x), std::min(start.y, end.y), std::max(start.x, end.x), std::max(start.y, end.y)};
}

// The signs are the opposite of the selection band's, as they have always been.
Kv::Rectangle<int> TextDescription::getBounds() const
{
    if (!font)
        return Kv::Rectangle<int>();
    const iFont::Metrics metrics = font->getMetrics();
    return {position.x, position.y + metrics.capHeight, position.x + font->measure(text, 0).x,
            position.y - metrics.descent};
}

Kv::Rectangle<int> ImageDescription::getBounds() const { return dest; }

Kv::Rectangle<int> ImageDescriptionEx::getBounds() const
{
    return {int(std::floor(dest.left)), int(std::floor(dest.top)), int(std::ceil(dest.right)),
            int(std::ceil(dest.bottom))};
}
