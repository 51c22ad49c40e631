#include "OpenGLGraphicPrimitivesRendererBase.h"

#include "BatchPrimitivesRenderer.h"
#include "GPUFontBase.h"
#include "GPUImage.h"
#include "OS.h"
#include "OpenGLUtils.h"
#include "ShaderTechnique.h"
#include "iMediaServices.h"

#include <epoxy/gl.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <vector>

namespace
{
    constexpr float kDegreesToRadians = 0.0174533f;
    constexpr float kFiveDegrees = 0.0872664f;

    void setColour(const NormalisedRGB& colour)
    {
        glColor4f(colour.r, colour.g, colour.b, colour.a);
    }

    void enableBlending()
    {
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    }

    // From the unmapped y values, whatever the coordinate system: the corners
    // are mapped and the centre is not.
    XY<int> centreOf(const Kv::Rectangle<int>& rect)
    {
        return XY<int>((rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2);
    }

    // Turns offsets from a centre by a rectangle's rotation, truncating, and
    // sends them moved back to the centre.
    class Rotation
    {
    public:
        Rotation(float degrees, const XY<int>& centre)
            : cos_(std::cos(double(degrees * kDegreesToRadians))),
              sin_(std::sin(double(degrees * kDegreesToRadians))), centre_(centre)
        {
        }

        void vertex(double dx, double dy) const
        {
            glVertex2i(int(dx * cos_ - dy * sin_) + centre_.x, int(dy * cos_ + dx * sin_) + centre_.y);
        }

    private:
        double cos_;
        double sin_;
        XY<int> centre_;
    };

    // The frame of a rectangle effect, in floats about the rectangle's centre.
    // Every point is truncated before it turns.
    class Frame
    {
    public:
        explicit Frame(const RectDescription& record)
            : centre(centreOf(record.rect)), rotation(record.rotation, centre),
              l(float(record.rect.left - centre.x)), t(float(record.rect.top - centre.y)),
              r(float(record.rect.right - centre.x)), b(float(record.rect.bottom - centre.y)), w(record.effectSize),
              oL(l - w), oT(t - w), oR(r + w), oB(b + w), iL(l + w), iT(t + w), iR(r - w), iB(b - w),
              solid(r <= l + 2 * w || b <= t + 2 * w)
        {
        }

        void draw(unsigned int cornerStyle) const
        {
            switch (cornerStyle) {
            case 0:
                if (solid)
                    primitive(GL_TRIANGLE_STRIP, {{oL, oT}, {oR, oT}, {oL, oB}, {oR, oB}});
                else
                    primitive(GL_TRIANGLE_STRIP, {{oL, oT}, {iL, iT}, {oR, oT}, {iR, iT}, {oR, oB}, {iR, iB},
                                                  {oL, oB}, {iL, iB}, {oL, oT}, {iL, iT}});
                break;
            case 1:
                if (solid) {
                    // The fan's hub is the centre itself, not turned.
                    glBegin(GL_TRIANGLE_FAN);
                    glVertex2i(centre.x, centre.y);
                    emit({{oL, t}, {l, oT}, {r, oT}, {oR, t}, {oR, b}, {r, oB}, {l, oB}, {oL, b}, {oL, t}});
                    glEnd();
                } else {
                    primitive(GL_TRIANGLE_STRIP, {{oL, t}, {l, oT}, {iL, iT}, {r, oT}, {iR, iT}, {oR, t}, {iR, iB},
                                                  {oR, b}, {r, oB}, {iR, iB}, {l, oB}, {iL, iB}, {oL, b}, {iL, iT},
                                                  {oL, t}});
                }
                break;
            default:
                drawRound();
                break;
            }
        }

    private:
        struct Point
        {
            float x;
            float y;
        };

        void vertex(float x, float y) const { rotation.vertex(int(x), int(y)); }

        void emit(std::initializer_list<Point> points) const
        {
            for (const Point& point : points)
                vertex(point.x, point.y);
        }

        void primitive(GLenum mode, std::initializer_list<Point> points) const
        {
            glBegin(mode);
            emit(points);
            glEnd();
        }

        // A quarter circle of radius w round each corner, the angle going on
        // from one corner to the next, then the straight parts between them.
        void drawRound() const
        {
            const Point corners[] = {{r, b}, {l, b}, {l, t}, {r, t}};
            int step = 0;
            for (const Point& corner : corners) {
                glBegin(GL_TRIANGLE_FAN);
                vertex(corner.x, corner.y);
                for (const int end = step + 18; step <= end; ++step) {
                    const float angle = float(step) * kFiveDegrees;
                    vertex(corner.x + std::trunc(w * std::cos(angle)), corner.y + std::trunc(w * std::sin(angle)));
                }
                --step;
                glEnd();
            }
            if (solid) {
                primitive(GL_TRIANGLE_STRIP, {{l, oT}, {r, oT}, {l, t}, {r, t}});
                primitive(GL_TRIANGLE_STRIP, {{oL, t}, {oR, t}, {oL, b}, {oR, b}});
                primitive(GL_TRIANGLE_STRIP, {{l, b}, {r, b}, {l, oB}, {r, oB}});
            } else {
                primitive(GL_TRIANGLE_STRIP, {{l, t}, {iL, iT}, {l, oT}, {iR, iT}, {r, oT}, {r, t}});
                primitive(GL_TRIANGLE_STRIP, {{r, t}, {iR, iT}, {oR, t}, {iR, iB}, {oR, b}, {r, b}});
                primitive(GL_TRIANGLE_STRIP, {{r, b}, {iR, iB}, {r, oB}, {iL, iB}, {l, oB}, {l, b}});
                primitive(GL_TRIANGLE_STRIP, {{l, b}, {iL, iB}, {oL, b}, {iL, iT}, {oL, t}, {l, t}});
            }
        }

        XY<int> centre;
        Rotation rotation;
        float l, t, r, b, w;
        float oL, oT, oR, oB;
        float iL, iT, iR, iB;
        // The frame would meet itself.
        bool solid;
    };
}

OpenGLGraphicPrimitivesRendererBase::OpenGLGraphicPrimitivesRendererBase(iOpenGLImage* image,
                                                                         eCoordinateSystem coordinateSystem)
    : coordinateSystem_(coordinateSystem), image_(image), available_(OpenGLUtils::isAvailable())
{
}

bool OpenGLGraphicPrimitivesRendererBase::requiresSmoothing(const LineDescription& line)
{
    return line.start.x != line.end.x && line.start.y != line.end.y;
}

bool OpenGLGraphicPrimitivesRendererBase::clip(RectDescription& record, const Kv::Rectangle<int>& clipRectangle)
{
    record.rect = record.rect.intersection(clipRectangle);
    return record.rect.width() != 0 && record.rect.height() != 0;
}

template <>
bool OpenGLGraphicPrimitivesRendererBase::clip<ImageDescriptionEx>(ImageDescriptionEx& record,
                                                                   const Kv::Rectangle<int>& clipRectangle)
{
    const Kv::Rectangle<float> area{float(clipRectangle.left), float(clipRectangle.top), float(clipRectangle.right),
                                    float(clipRectangle.bottom)};
    const Kv::Rectangle<float> dest = record.dest.intersection(area);
    const bool visible = dest.width() * dest.height() != 0.0f;
    if (dest != record.dest && visible) {
        record.source.left += dest.left - record.dest.left;
        record.source.top += dest.top - record.dest.top;
        record.source.right -= record.dest.right - dest.right;
        record.source.bottom -= record.dest.bottom - dest.bottom;
    }
    record.dest = dest;
    return visible;
}

void OpenGLGraphicPrimitivesRendererBase::setClipRegion(Kv::Ptr<iRegion> region)
{
    if (!available_)
        return;
    clipRectangles_.clear();
    clipRegion_ = nullptr;
    glDisable(GL_SCISSOR_TEST);
    if (!region)
        return;
    if (region->isRectangular()) {
        const Kv::Rectangle<int> bounds = region->getBounds();
        glEnable(GL_SCISSOR_TEST);
        glScissor(bounds.left, coordinateSystem_ == eOriginTopLeft ? size_.y - bounds.bottom : bounds.top,
                  std::abs(bounds.right - bounds.left), std::abs(bounds.bottom - bounds.top));
        return;
    }
    // Only rectangles and images clip to these; the other primitives ignore
    // the clip, deliberately.
    clipRegion_ = region;
    region->getData(clipRectangles_);
}

void OpenGLGraphicPrimitivesRendererBase::renderMulti(const RectDescription* records, unsigned int count)
{
    if (!draws(count))
        return;
    glDisable(GL_TEXTURE_2D);
    // A 16-bit index, as it has always been.
    for (std::uint16_t index = 0; index < count; ++index) {
        const RectDescription& record = records[index];
        if (record.blendMode == 1)
            enableBlending();
        if (clipRegion_)
            drawClipped(record);
        else if (record.effect == 0)
            drawFill(record);
        else
            drawFrame(record);
        if (record.blendMode == 1)
            glDisable(GL_BLEND);
    }
    glEnable(GL_TEXTURE_2D);
}

void OpenGLGraphicPrimitivesRendererBase::drawRotatedQuad(const RectDescription& record) const
{
    const Kv::Rectangle<int>& rect = record.rect;
    const XY<int> centre = centreOf(rect);
    const Rotation rotation(record.rotation, centre);
    glBegin(GL_QUADS);
    setColour(record.colour);
    for (const XY<int>& corner : {XY<int>(rect.left, mapY(rect.top)), XY<int>(rect.right, mapY(rect.top)),
                                  XY<int>(rect.right, mapY(rect.bottom)), XY<int>(rect.left, mapY(rect.bottom))})
        rotation.vertex(corner.x - centre.x, corner.y - centre.y);
    glEnd();
}

// Only the fill, whatever the effect; the gradient runs from top to bottom.
void OpenGLGraphicPrimitivesRendererBase::drawClipped(const RectDescription& record) const
{
    for (const Kv::Rectangle<int>& clipRectangle : clipRectangles_) {
        RectDescription piece = record;
        if (!clip(piece, clipRectangle))
            continue;
        if (piece.rotation != 0.0f) {
            drawRotatedQuad(piece);
            continue;
        }
        const Kv::Rectangle<int>& rect = piece.rect;
        glBegin(GL_QUADS);
        setColour(piece.colour);
        glVertex2i(rect.left, mapY(rect.top));
        glVertex2i(rect.right, mapY(rect.top));
        if (piece.gradient)
            setColour(piece.gradientEnd);
        glVertex2i(rect.right, mapY(rect.bottom));
        glVertex2i(rect.left, mapY(rect.bottom));
        glEnd();
    }
}

// No gradient here, deliberately, though a clipped rectangle draws one.
void OpenGLGraphicPrimitivesRendererBase::drawFill(const RectDescription& record) const
{
    if (record.rotation != 0.0f) {
        drawRotatedQuad(record);
        return;
    }
    const Kv::Rectangle<int>& rect = record.rect;
    glBegin(GL_QUADS);
    setColour(record.colour);
    glVertex2i(rect.left, mapY(rect.top));
    glVertex2i(rect.left, mapY(rect.bottom));
    glVertex2i(rect.right, mapY(rect.bottom));
    glVertex2i(rect.right, mapY(rect.top));
    glEnd();
}

// Only the frame, never the fill, and y unmapped in either system.
void OpenGLGraphicPrimitivesRendererBase::drawFrame(const RectDescription& record) const
{
    setColour(record.effectColour);
    Frame(record).draw(record.effectParam);
}

void OpenGLGraphicPrimitivesRendererBase::renderMulti(const RoundedRectDescription*, unsigned int) {}
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const EllipseDescription*, unsigned int) {}
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const LineDescription*, unsigned int) {}
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const TextDescription*, unsigned int) {}
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const AlphaRectDescription*, unsigned int) {}
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const ImageDescription*, unsigned int) {}
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const ImageDescriptionEx*, unsigned int) {}
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const TriangleStripDescription*, unsigned int) {}
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const LineStripDescription*, unsigned int) {}
