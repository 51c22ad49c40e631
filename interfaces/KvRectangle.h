#pragma once

namespace Kv
{
    // Two corners, not an origin and a size. Width and height are absolute
    // differences, so a rectangle with swapped corners still has a positive size.
    template <class T>
    struct Rectangle
    {
        T left{};
        T top{};
        T right{};
        T bottom{};

        T width() const { return right > left ? right - left : left - right; }
        T height() const { return bottom > top ? bottom - top : top - bottom; }

        // The all-zero rectangle when the two are apart; rectangles that only
        // touch give a zero-width or zero-height one at the seam.
        Rectangle intersection(const Rectangle& other) const
        {
            if (left > other.right || top > other.bottom || right < other.left || bottom < other.top)
                return Rectangle();
            return {left > other.left ? left : other.left, top > other.top ? top : other.top,
                    right < other.right ? right : other.right, bottom < other.bottom ? bottom : other.bottom};
        }

        // The smallest rectangle that holds both; one without area adds nothing.
        Rectangle united(const Rectangle& other) const
        {
            if (width() == 0 || height() == 0)
                return other;
            if (other.width() == 0 || other.height() == 0)
                return *this;
            return {left < other.left ? left : other.left, top < other.top ? top : other.top,
                    right > other.right ? right : other.right, bottom > other.bottom ? bottom : other.bottom};
        }

        bool operator==(const Rectangle&) const = default;
    };
}
