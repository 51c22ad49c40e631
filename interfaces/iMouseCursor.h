#pragma once

#include "iObject.h"

// A pointer shape, made by the window manager from a stock shape or an image.
// Every operation belongs on the main thread.
class KV_API iMouseCursor : public virtual iObject
{
public:
    // Each resize shape serves both edges it joins and the pair of them, so
    // three values share it. 13 and any value not listed give the arrow.
    enum eStockCursor
    {
        eArrow = 0,
        eResizeWest = 1,
        eResizeEast = 2,
        eResizeEastWest = 3,
        eResizeNorth = 4,
        eResizeSouth = 5,
        eResizeNorthSouth = 6,
        eResizeNorthEast = 7,
        eResizeSouthWest = 8,
        eResizeNorthEastSouthWest = 9,
        eResizeNorthWest = 10,
        eResizeSouthEast = 11,
        eResizeNorthWestSouthEast = 12,
        eNotAllowed = 14,
        eText = 15,
    };

    // Shows this shape from now on.
    virtual void makeCurrent() = 0;
};
