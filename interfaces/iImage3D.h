#pragma once

#include "NormalisedRGB.h"
#include "XYZ.h"
#include "iGPUResource.h"
#include "iObject.h"

// A three-dimensional image: a colour lookup cube.
class KV_API iImage3D : public virtual iObject
{
public:
    virtual XYZ<unsigned char> getLogicalSize() const = 0;
    virtual XYZ<unsigned char> getPhysicalSize() const { return getLogicalSize(); }
};

class KV_API iGPUImage3D : public iImage3D, public iGPUResource
{
};

// Implemented by the application: a cube that answers the colour at a point.
class KV_API iHostImage3D : public iImage3D
{
public:
    virtual NormalisedRGB lookup(const XYZ<unsigned char>& point) const = 0;
};
