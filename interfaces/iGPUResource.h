#pragma once

#include "iObject.h"

// Marks something whose storage lives on the GPU: images, 3D images and
// compute buffers.
class KV_API iGPUResource : public virtual iObject
{
};
