#pragma once

// A point or a size. The virtual destructor is part of the type: an array of
// XY is not an array of plain pairs.
template <class T>
class XY
{
public:
    XY() : x(), y() {}
    XY(T x, T y) : x(x), y(y) {}
    XY(const XY&) = default;
    XY& operator=(const XY&) = default;
    virtual ~XY() = default;

    bool operator==(const XY& other) const { return x == other.x && y == other.y; }

    T x;
    T y;
};
