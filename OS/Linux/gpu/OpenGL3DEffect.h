#pragma once

#include "i3DEffect.h"

// Draws polygons in perspective into GPU images with OpenGL, and answers the
// projections with the same camera computed on the CPU through GLU. It has no
// state: one effect serves any thread, and render takes the GPU lock through
// its renderer.
class OpenGL3DEffect : public i3DEffect
{
public:
    void render(Kv::Ptr<iGPUImage> target, const std::vector<Polygon3D>& polygons, const XYZ<float>& translation,
                const XYZ<float>& rotation, float aspect) const override;
    XY<float> projectPoint(const XYZ<float>& point, const XYZ<float>& translation, const XYZ<float>& rotation,
                           float aspect) const override;
    XYZ<float> unProjectPoint(const XYZ<float>& point, const XYZ<float>& translation, const XYZ<float>& rotation,
                              float aspect) const override;
    XY<float> projectPoint(const XYZ<float>& point, const XYZ<float>& translation, const XYZ<float>& rotation,
                           const int& width, const int& height) const override;
    XYZ<float> unProjectPoint(const XYZ<float>& point, const XYZ<float>& translation, const XYZ<float>& rotation,
                              const int& width, const int& height) const override;
};
