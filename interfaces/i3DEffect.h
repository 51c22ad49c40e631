#pragma once

#include "NormalisedRGB.h"
#include "Ptr.h"
#include "XY.h"
#include "XYZ.h"
#include "iGPUImage.h"
#include "iGPUResource.h"
#include "iObject.h"
#include "iShaderEffect.h"

#include <vector>

// A quadrilateral to draw in 3D. Its corners are in triangle strip order: the
// second and third are the ones across the diagonal.
struct Polygon3D
{
    struct Vertex
    {
        NormalisedRGB colour;
        XYZ<float> position;
        XY<float> texCoord;
    };

    // With an effect whose inputs are as many as the textures, the effect
    // draws the polygon; otherwise the first texture does, tinted by the
    // corners' colours. Without textures the colours alone are drawn.
    std::vector<Kv::Ptr<iGPUResource>> textures;
    Kv::Ptr<iShaderEffect> effect;
    Vertex vertices[4];
};

// Draws polygons in perspective: the picture-in-3D transforms. The camera
// looks from negative z at the origin, with a vertical field of 45 degrees,
// so that a square from -1 to 1 in the plane z = 0 fills a square view. The
// translation moves the polygons and the rotation, in radians about x, then y,
// then z, turns them.
//
// The projections answer where a point lands in the image and back, for
// handles on screen: they need no OpenGL and may run on any thread.
class KV_API i3DEffect : public virtual iObject
{
public:
    // Blends the polygons over what the image holds, under the GPU lock. A
    // target that is not an image of this library draws nothing.
    virtual void render(Kv::Ptr<iGPUImage> target, const std::vector<Polygon3D>& polygons,
                        const XYZ<float>& translation, const XYZ<float>& rotation, float aspect) const = 0;
    // Where the point lands, as fractions of the image from its bottom left.
    // The view mirrors x and y against the polygons' corners: a corner (x, y, z)
    // lands where the point (-x, -y, z) does.
    virtual XY<float> projectPoint(const XYZ<float>& point, const XYZ<float>& translation,
                                   const XYZ<float>& rotation, float aspect) const = 0;
    // The point at depth point.z under the image's point (x, y), in the
    // corners' own terms, unmirrored. It is measured from the eye's axis and
    // the near plane, not from the eye: with no rotation and no translation
    // in z, a corner comes back moved by the translation and a thousandth short.
    virtual XYZ<float> unProjectPoint(const XYZ<float>& point, const XYZ<float>& translation,
                                      const XYZ<float>& rotation, float aspect) const = 0;
    // The same in pixels of an image of that size, with the aspect taken
    // from it; a projected point is truncated to whole pixels.
    virtual XY<float> projectPoint(const XYZ<float>& point, const XYZ<float>& translation,
                                   const XYZ<float>& rotation, const int& width, const int& height) const = 0;
    virtual XYZ<float> unProjectPoint(const XYZ<float>& point, const XYZ<float>& translation,
                                      const XYZ<float>& rotation, const int& width, const int& height) const = 0;
};
