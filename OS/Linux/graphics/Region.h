#pragma once

#include "iRegion.h"

#include <pixman.h>

// The one iRegion: a pixman region, which keeps its rectangles non-overlapping
// in y-x bands. pixman's form is canonical, so two regions with the same
// pixels list the same rectangles in the same order.
//
// Only the ID counter is thread-safe; see iRegion.
class Region : public iRegion
{
public:
    // Each rectangle goes in by its top-left corner and its absolute width and
    // height, so a rectangle with swapped corners covers the area to the right
    // of and below its first corner.
    explicit Region(const Rectangles& rectangles);
    explicit Region(const Kv::Rectangle<int>& rectangle);
    // Takes over the contents of a region that the caller has made; the
    // caller's is left empty, and finishing it is optional.
    explicit Region(pixman_region32_t* shape);
    ~Region() override;

    Region(const Region&) = delete;
    Region& operator=(const Region&) = delete;

    Kv::Rectangle<int> getBounds() const override;
    bool isRectangular() const override;
    bool equals(Kv::Ptr<iRegion> other) const override;
    bool contains(const XY<int>& point) const override;
    unsigned int getUniqueID() const override;
    void getData(Rectangles& rectangles) const override;
    void translate(int dx, int dy) override;
    Kv::Ptr<iRegion> clone() const override;
    Kv::Ptr<iRegion> getIntersection(Kv::Ptr<iRegion> other) const override;
    Kv::Ptr<iRegion> getUnion(Kv::Ptr<iRegion> other) const override;
    Kv::Ptr<iRegion> subtract(Kv::Ptr<iRegion> other) const override;

private:
    // Called by every constructor once the shape is final.
    void cacheBounds();
    void takeNextID();

    pixman_region32_t shape_;
    Kv::Rectangle<int> bounds_;
    unsigned int uniqueID_ = 0;

    // Feeds uniqueID_, through the facade's atomics.
    static volatile int lastID_;
};
