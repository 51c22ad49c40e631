#pragma once

// A point or a size in three dimensions: the sizes of 3D images, and points
// in space.
template <class T>
struct XYZ
{
    T x{};
    T y{};
    T z{};

    bool operator==(const XYZ&) const = default;
};
