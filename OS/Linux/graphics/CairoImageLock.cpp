#include "CairoImageLock.h"

CairoImageLock::CairoImageLock(Kv::Ptr<PixelData> pixels, const XY<int>& size, unsigned int stride)
    : pixels_(pixels), size_(size), stride_(stride)
{
}
