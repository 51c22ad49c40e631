#pragma once

#include "KvRectangle.h"
#include "Ptr.h"
#include "StdAllocator.h"
#include "XY.h"
#include "iObject.h"

#include <vector>

// A set of pixels made of non-overlapping rectangles, in top-down logical
// coordinates: the unit in which dirty areas and clips travel.
//
// A null region means empty: the set operations answer null for an empty
// intersection or difference, so callers test the pointer, not a size. The set
// operations leave both sides untouched; only translate changes a region.
// Nothing is locked: a region must not be translated while another thread
// reads it.
class KV_API iRegion : public virtual iObject
{
public:
    using Rectangles = std::vector<Kv::Rectangle<int>, StdAllocator<Kv::Rectangle<int>>>;

    virtual Kv::Rectangle<int> getBounds() const = 0;
    virtual bool isRectangular() const = 0;
    // Compares bounds, then the rectangle lists one for one in their order.
    virtual bool equals(Kv::Ptr<iRegion> other) const = 0;
    virtual bool contains(const XY<int>& point) const = 0;
    // Tells this object apart from every other region, and says nothing about
    // the pixels: a clone or a set operation's result has a new ID, a
    // translated region keeps its own.
    virtual unsigned int getUniqueID() const = 0;
    // Appends to what the vector already holds.
    virtual void getData(Rectangles& rectangles) const = 0;
    virtual void translate(int dx, int dy) = 0;
    virtual Kv::Ptr<iRegion> clone() const = 0;
    // The other region itself when it is this object; null when the two do
    // not overlap.
    virtual Kv::Ptr<iRegion> getIntersection(Kv::Ptr<iRegion> other) const = 0;
    // Always a new region.
    virtual Kv::Ptr<iRegion> getUnion(Kv::Ptr<iRegion> other) const = 0;
    // This minus the other; null when nothing is left. A copy of this when the
    // bounds do not overlap.
    virtual Kv::Ptr<iRegion> subtract(Kv::Ptr<iRegion> other) const = 0;
};
