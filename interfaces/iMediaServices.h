#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "XY.h"
#include "iFont.h"
#include "iGPUImage.h"
#include "iHostImage.h"
#include "iObject.h"

// The factory of images, fonts and, in time, effects, compute and timers.
class KV_API iMediaServices : public virtual iObject
{
public:
    // A 32-bit image in main memory at device pixel ratio 1.
    virtual Kv::Ptr<iHostImage> createHostSurface(const XY<int>& size) const = 0;
    // The same as createHostSurface: the format is ignored, deliberately.
    virtual Kv::Ptr<iHostImage> createGPUReadySurface(const XY<int>& size, iGPUImage::eFormat format) const = 0;
    // A font for drawing in main memory; a family that is not installed falls
    // back with a log line.
    virtual Kv::Ptr<iFont> createHostSurfaceFont(const LightweightString<wchar_t>& family, unsigned int size,
                                                 unsigned int style) const = 0;
};
