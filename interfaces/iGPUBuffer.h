#pragma once

#include "iObject.h"

// A block of GPU compute memory; an image's buffer is the compute view of its
// texture, made once and kept with the texture.
class KV_API iGPUBuffer : public virtual iObject
{
};
