#pragma once

#include <cmath>

// A 4 by 4 transform in OpenGL's memory order, column after column, so that
// the translation is in elements 12, 13 and 14. Each operation multiplies the
// matrix on the right by its transform, as glTranslated and glRotated do, so
// the last one named acts first on a point.
template <class T>
struct Matrix4x4
{
    T elements[16];

    void translate(T x, T y, T z) { multiply({{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z, 1}}); }

    void rotateX(T radians)
    {
        const T c = std::cos(radians);
        const T s = std::sin(radians);
        multiply({{1, 0, 0, 0, 0, c, s, 0, 0, -s, c, 0, 0, 0, 0, 1}});
    }

    void rotateY(T radians)
    {
        const T c = std::cos(radians);
        const T s = std::sin(radians);
        multiply({{c, 0, -s, 0, 0, 1, 0, 0, s, 0, c, 0, 0, 0, 0, 1}});
    }

    void rotateZ(T radians)
    {
        const T c = std::cos(radians);
        const T s = std::sin(radians);
        multiply({{c, s, 0, 0, -s, c, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}});
    }

    // This matrix times the other.
    void multiply(const Matrix4x4& right)
    {
        Matrix4x4 product{};
        for (int column = 0; column < 4; ++column)
            for (int row = 0; row < 4; ++row)
                for (int k = 0; k < 4; ++k)
                    product.elements[column * 4 + row] += elements[k * 4 + row] * right.elements[column * 4 + k];
        *this = product;
    }
};
