#pragma once

#include "Ptr.h"
#include "XY.h"
#include "iHostImage.h"
#include "iMouseCursor.h"

// An X cursor through Xcursor: a stock shape from the cursor theme, else the
// core cursor font, or an image. A cursor is never left without a shape:
// every failure ends at the arrow.
//
// Without a display a cursor holds no X cursor and makeCurrent does nothing.
// The cursor belongs to the process's connection and is freed with it.
class MouseCursor : public iMouseCursor
{
public:
    static Kv::Ptr<iMouseCursor> create(iMouseCursor::eStockCursor stock);
    // The hot spot is in the image's logical pixels, scaled by its device
    // pixel ratio and kept inside the image. The pixels are premultiplied
    // B, G, R, A, as Xcursor takes them.
    static Kv::Ptr<iMouseCursor> create(Kv::Ptr<iHostImage> image, const XY<int>& hotSpot);

    ~MouseCursor() override;

    MouseCursor(const MouseCursor&) = delete;
    MouseCursor& operator=(const MouseCursor&) = delete;

    void makeCurrent() override;

private:
    // Takes ownership of an X cursor id; 0 without a display.
    explicit MouseCursor(unsigned long cursor);

    unsigned long cursor_;
};
