#pragma once

#include "Ptr.h"
#include "iImageBase.h"
#include "iPixelGuard.h"

// An image with pixels of its own. lock gives null where the pixels cannot be
// mapped into main memory.
class KV_API iImage : public iImageBase
{
public:
    virtual Kv::Ptr<iPixelGuard> lock() = 0;
};
