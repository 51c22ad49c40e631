#include "Region.h"

#include "iOperatingSystem.h"
#include "iThreadAtomics.h"

#include <algorithm>
#include <vector>

namespace
{
    // By the top-left corner and the absolute size: swapped corners do not
    // mirror the area, it still runs right and down from the first corner.
    pixman_box32_t toBox(const Kv::Rectangle<int>& rectangle)
    {
        return {rectangle.left, rectangle.top, rectangle.left + rectangle.width(), rectangle.top + rectangle.height()};
    }

    // The destination of a set operation. It is finished here unless a Region
    // has taken it over, which leaves it empty and finishing it free.
    struct ShapeUnderConstruction
    {
        ShapeUnderConstruction() { pixman_region32_init(&shape); }
        ~ShapeUnderConstruction() { pixman_region32_fini(&shape); }
        ShapeUnderConstruction(const ShapeUnderConstruction&) = delete;
        ShapeUnderConstruction& operator=(const ShapeUnderConstruction&) = delete;

        pixman_region32_t shape;
    };

    Kv::Ptr<iRegion> adopt(ShapeUnderConstruction& result) { return Kv::Ptr<iRegion>(new Region(&result.shape)); }

    bool overlaps(const Kv::Rectangle<int>& bounds, const Kv::Rectangle<int>& otherBounds)
    {
        const Kv::Rectangle<int> overlap = bounds.intersection(otherBounds);
        return overlap.width() != 0 && overlap.height() != 0;
    }
}

volatile int Region::lastID_ = 0;

// One validation of the whole list gives the same region as adding the
// rectangles one by one, without rebuilding the bands once per rectangle.
Region::Region(const Rectangles& rectangles)
{
    std::vector<pixman_box32_t> boxes;
    boxes.reserve(rectangles.size());
    for (const Kv::Rectangle<int>& rectangle : rectangles)
        boxes.push_back(toBox(rectangle));
    pixman_region32_init_rects(&shape_, boxes.data(), static_cast<int>(boxes.size()));
    cacheBounds();
    takeNextID();
}

Region::Region(const Kv::Rectangle<int>& rectangle)
{
    const pixman_box32_t box = toBox(rectangle);
    pixman_region32_init_rects(&shape_, &box, 1);
    cacheBounds();
    takeNextID();
}

Region::Region(pixman_region32_t* shape) : shape_(*shape)
{
    pixman_region32_init(shape);
    cacheBounds();
    takeNextID();
}

Region::~Region() { pixman_region32_fini(&shape_); }

// pixman leaves stale extents on some empty results; an empty region has the
// all-zero bounds wherever it came from.
void Region::cacheBounds()
{
    if (!pixman_region32_not_empty(&shape_)) {
        bounds_ = Kv::Rectangle<int>();
        return;
    }
    const pixman_box32_t* extents = pixman_region32_extents(&shape_);
    bounds_ = {extents->x1, extents->y1, extents->x2, extents->y2};
}

void Region::takeNextID() { uniqueID_ = static_cast<unsigned int>(OS()->threadAtomics()->safeInc(&lastID_)); }

Kv::Rectangle<int> Region::getBounds() const { return bounds_; }

// The empty region counts as rectangular: it is one (empty) box.
bool Region::isRectangular() const { return pixman_region32_n_rects(&shape_) <= 1; }

bool Region::equals(Kv::Ptr<iRegion> other) const
{
    const Region* otherRegion = dynamic_cast<const Region*>(other.get());
    if (!otherRegion)
        return false;
    if (!(bounds_ == otherRegion->bounds_))
        return false;
    const bool rectangular = isRectangular();
    const bool otherRectangular = otherRegion->isRectangular();
    if (rectangular && otherRectangular)
        return true;
    if (rectangular != otherRectangular)
        return false;
    // Position by position, not as sets; pixman's canonical form makes the two
    // agree anyway.
    int count = 0;
    int otherCount = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(&shape_, &count);
    const pixman_box32_t* otherBoxes = pixman_region32_rectangles(&otherRegion->shape_, &otherCount);
    return count == otherCount &&
           std::equal(boxes, boxes + count, otherBoxes, [](const pixman_box32_t& a, const pixman_box32_t& b) {
               return a.x1 == b.x1 && a.y1 == b.y1 && a.x2 == b.x2 && a.y2 == b.y2;
           });
}

bool Region::contains(const XY<int>& point) const
{
    return pixman_region32_contains_point(&shape_, point.x, point.y, nullptr);
}

unsigned int Region::getUniqueID() const { return uniqueID_; }

void Region::getData(Rectangles& rectangles) const
{
    int count = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(&shape_, &count);
    for (int index = 0; index < count; ++index)
        rectangles.push_back({boxes[index].x1, boxes[index].y1, boxes[index].x2, boxes[index].y2});
}

// The cached bounds move by arithmetic rather than being read back, so an
// empty region's bounds move with it.
void Region::translate(int dx, int dy)
{
    if (dx == 0 && dy == 0)
        return;
    pixman_region32_translate(&shape_, dx, dy);
    bounds_.left += dx;
    bounds_.right += dx;
    bounds_.top += dy;
    bounds_.bottom += dy;
}

Kv::Ptr<iRegion> Region::clone() const
{
    ShapeUnderConstruction copy;
    pixman_region32_copy(&copy.shape, &shape_);
    return adopt(copy);
}

// Regions that only touch, or lie apart, give null before pixman is asked.
Kv::Ptr<iRegion> Region::getIntersection(Kv::Ptr<iRegion> other) const
{
    const Region* otherRegion = dynamic_cast<const Region*>(other.get());
    if (!otherRegion)
        return nullptr;
    if (otherRegion == this)
        return other;
    if (!overlaps(bounds_, other->getBounds()))
        return nullptr;
    ShapeUnderConstruction result;
    pixman_region32_intersect(&result.shape, &shape_, &otherRegion->shape_);
    if (!pixman_region32_not_empty(&result.shape))
        return nullptr;
    return adopt(result);
}

// Never null, even for two empty regions, and a region united with itself is
// still a new object.
Kv::Ptr<iRegion> Region::getUnion(Kv::Ptr<iRegion> other) const
{
    const Region* otherRegion = dynamic_cast<const Region*>(other.get());
    if (!otherRegion)
        return clone();
    ShapeUnderConstruction result;
    pixman_region32_union(&result.shape, &shape_, &otherRegion->shape_);
    return adopt(result);
}

// A copy, not null, when the bounds miss each other, even when this region is
// itself empty: there was nothing to take away.
Kv::Ptr<iRegion> Region::subtract(Kv::Ptr<iRegion> other) const
{
    const Region* otherRegion = dynamic_cast<const Region*>(other.get());
    if (!otherRegion)
        return clone();
    if (otherRegion == this)
        return nullptr;
    if (!overlaps(bounds_, other->getBounds()))
        return clone();
    ShapeUnderConstruction result;
    pixman_region32_subtract(&result.shape, &shape_, &otherRegion->shape_);
    if (!pixman_region32_not_empty(&result.shape))
        return nullptr;
    return adopt(result);
}
