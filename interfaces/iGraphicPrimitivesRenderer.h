#pragma once

#include "Ptr.h"
#include "iObject.h"

class iRegion;
struct RectDescription;
struct EllipseDescription;
struct LineDescription;
struct TextDescription;
struct AlphaRectDescription;
struct BezierCurveDescription;
struct ImageDescription;
struct ImageDescriptionEx;
struct RoundedRectDescription;
struct TriangleStripDescription;
struct TriangleFanDescription;
struct LineStripDescription;

// A drawing surface that takes arrays of primitive records. A renderer draws
// what it supports and silently drops the rest; getCaps tells which is which.
// A count of 0 is always legal.
class KV_API iGraphicPrimitivesRenderer : public virtual iObject
{
public:
    // A null region clears the clip.
    virtual void setClipRegion(Kv::Ptr<iRegion> region) = 0;
    virtual void setAntialiasingEnabled(bool enabled) = 0;
    virtual unsigned int getCaps() const = 0;
    virtual void renderMulti(const RectDescription* records, unsigned int count) = 0;
    virtual void renderMulti(const EllipseDescription* records, unsigned int count) = 0;
    virtual void renderMulti(const LineDescription* records, unsigned int count) = 0;
    virtual void renderMulti(const TextDescription* records, unsigned int count) = 0;
    virtual void renderMulti(const AlphaRectDescription* records, unsigned int count) = 0;
    virtual void renderMulti(const BezierCurveDescription* records, unsigned int count) = 0;
    virtual void renderMulti(const ImageDescription* records, unsigned int count) = 0;
    virtual void renderMulti(const ImageDescriptionEx* records, unsigned int count) = 0;
    virtual void renderMulti(const RoundedRectDescription*, unsigned int) {}
    virtual void renderMulti(const TriangleStripDescription*, unsigned int) {}
    virtual void renderMulti(const TriangleFanDescription*, unsigned int) {}
    virtual void renderMulti(const LineStripDescription*, unsigned int) {}
};
