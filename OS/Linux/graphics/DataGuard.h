#pragma once

#include "Ptr.h"
#include "iObject.h"

#include <cairo.h>

// Rides on a Cairo surface that borrows someone's pixels, and keeps their
// owner alive until Cairo lets the surface go.
class DataGuard : public iVirtual
{
public:
    explicit DataGuard(Kv::Ptr<iObject> keeper) : keeper_(keeper) {}

    const Kv::Ptr<iObject>& getKeeper() const { return keeper_; }

    // Hangs a new guard on surface. False, and nothing held, when Cairo
    // refuses (an error surface).
    static bool attach(cairo_surface_t* surface, Kv::Ptr<iObject> keeper);
    // The keeper of a surface that attach was given; null for any other.
    static Kv::Ptr<iObject> keeperOf(cairo_surface_t* surface);

private:
    static void releaseDataGuard(void* guard);

    Kv::Ptr<iObject> keeper_;
};
