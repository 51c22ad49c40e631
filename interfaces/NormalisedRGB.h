#pragma once

// A colour of four components from 0 to 1, never premultiplied. The default
// is opaque black.
class NormalisedRGB
{
public:
    NormalisedRGB() = default;
    NormalisedRGB(float r, float g, float b, float a = 1.0f) : r(r), g(g), b(b), a(a) {}
    NormalisedRGB(const NormalisedRGB&) = default;
    NormalisedRGB& operator=(const NormalisedRGB&) = default;
    virtual ~NormalisedRGB() = default;

    bool operator==(const NormalisedRGB& other) const
    {
        return r == other.r && g == other.g && b == other.b && a == other.a;
    }

    float r = 0.0f;
    float g = 0.0f;
    float b = 0.0f;
    float a = 1.0f;
};
