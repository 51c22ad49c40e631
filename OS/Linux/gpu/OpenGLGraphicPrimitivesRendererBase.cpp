#include "OpenGLGraphicPrimitivesRendererBase.h"

#include "BatchPrimitivesRenderer.h"
#include "GPUFontBase.h"
#include "GPUImage.h"
#include "OS.h"
#include "OpenGLUtils.h"
#include "ShaderTechnique.h"
#include "iMediaServices.h"

#include <epoxy/gl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <span>
#include <vector>

namespace
{
    constexpr float kDegreesToRadians = 0.0174533f;
    constexpr float kFiveDegrees = 0.0872664f;

    void setColour(const NormalisedRGB& colour) { glColor4f(colour.r, colour.g, colour.b, colour.a); }

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
            : cos_(std::cos(double(degrees * kDegreesToRadians))), sin_(std::sin(double(degrees * kDegreesToRadians))),
              centre_(centre)
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
            : centre(centreOf(record.rect)), rotation(record.rotation, centre), l(float(record.rect.left - centre.x)),
              t(float(record.rect.top - centre.y)), r(float(record.rect.right - centre.x)),
              b(float(record.rect.bottom - centre.y)), w(record.effectSize), oL(l - w), oT(t - w), oR(r + w), oB(b + w),
              iL(l + w), iT(t + w), iR(r - w), iB(b - w), solid(r <= l + 2 * w || b <= t + 2 * w)
        {
        }

        void draw(unsigned int cornerStyle) const
        {
            switch (cornerStyle) {
            case 0:
                if (solid)
                    primitive(GL_TRIANGLE_STRIP, {{oL, oT}, {oR, oT}, {oL, oB}, {oR, oB}});
                else
                    primitive(GL_TRIANGLE_STRIP, {{oL, oT},
                                                  {iL, iT},
                                                  {oR, oT},
                                                  {iR, iT},
                                                  {oR, oB},
                                                  {iR, iB},
                                                  {oL, oB},
                                                  {iL, iB},
                                                  {oL, oT},
                                                  {iL, iT}});
                break;
            case 1:
                if (solid) {
                    // The fan's hub is the centre itself, not turned.
                    glBegin(GL_TRIANGLE_FAN);
                    glVertex2i(centre.x, centre.y);
                    emit({{oL, t}, {l, oT}, {r, oT}, {oR, t}, {oR, b}, {r, oB}, {l, oB}, {oL, b}, {oL, t}});
                    glEnd();
                } else {
                    primitive(GL_TRIANGLE_STRIP, {{oL, t},
                                                  {l, oT},
                                                  {iL, iT},
                                                  {r, oT},
                                                  {iR, iT},
                                                  {oR, t},
                                                  {iR, iB},
                                                  {oR, b},
                                                  {r, oB},
                                                  {iR, iB},
                                                  {l, oB},
                                                  {iL, iB},
                                                  {oL, b},
                                                  {iL, iT},
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
            for (int quarter = 0; quarter < 4; ++quarter) {
                const Point& corner = corners[quarter];
                glBegin(GL_TRIANGLE_FAN);
                vertex(corner.x, corner.y);
                for (int step = quarter * 18; step <= quarter * 18 + 18; ++step) {
                    const float angle = float(step) * kFiveDegrees;
                    vertex(corner.x + std::trunc(w * std::cos(angle)), corner.y + std::trunc(w * std::sin(angle)));
                }
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

    // The size the texture coordinates divide by.
    XY<int> textureSizeOf(const iOpenGLImage& image)
    {
        const auto* gpuImage = dynamic_cast<const GPUImage*>(&image);
        const XY<int> logical = gpuImage != nullptr ? gpuImage->getLogicalSize() : XY<int>();
        return logical.x != 0 ? logical : image.getSize();
    }

    struct TexCoords
    {
        TexCoords(const Kv::Rectangle<float>& source, const XY<int>& textureSize)
            : s0(source.left / float(textureSize.x)), s1(source.right / float(textureSize.x)),
              t0(source.top / float(textureSize.y)), t1(source.bottom / float(textureSize.y))
        {
        }

        float s0;
        float s1;
        float t0;
        float t1;
    };

    // Corners in the order top left, top right, bottom left, bottom right.
    void setCorners(iShaderEffect::Source& source, const XY<float>& a, const XY<float>& b, const XY<float>& c,
                    const XY<float>& d)
    {
        source.texCoords[0] = a;
        source.texCoords[1] = b;
        source.texCoords[2] = c;
        source.texCoords[3] = d;
    }

    XY<float> rotate(const XY<float>& point, float radians)
    {
        const float cos = std::cos(radians);
        const float sin = std::sin(radians);
        return XY<float>(point.x * cos - point.y * sin, point.y * cos + point.x * sin);
    }

    // The outward unit normal of the ellipse at a point on it.
    XY<float> normalAt(const XY<float>& point, float rx, float ry)
    {
        if (point.y == 0.0f)
            return XY<float>(point.x > 0.0f ? 1.0f : -1.0f, 0.0f);
        if (point.x == 0.0f)
            return XY<float>(0.0f, point.y > 0.0f ? 1.0f : -1.0f);
        constexpr float k = 1.2675908e-06f;
        const float m = (point.x * ry * ry) / (point.y * rx * rx);
        const float length = std::sqrt(point.x * point.x + (m * point.x) * (m * point.x));
        const XY<float> normal((k * point.x + m * point.x) / length, (point.x - k * m * point.x) / length);
        if ((point.x < 0.0f) != (point.y < 0.0f))
            return XY<float>(-normal.x, -normal.y);
        return normal;
    }
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
    for (unsigned int index = 0; index < count; ++index) {
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

void OpenGLGraphicPrimitivesRendererBase::renderMulti(const RoundedRectDescription* records, unsigned int count)
{
    if (!draws(count))
        return;
    // Not rounded on this renderer: radius and corners are not read. With
    // the border in the fill's colour the inside is left as it was.
    std::array<RectDescription, 5> pieces;
    for (const RoundedRectDescription& record : std::span(records, count)) {
        const Kv::Rectangle<int>& rect = record.rect;
        unsigned int used = 0;
        const auto add = [&pieces, &used](const Kv::Rectangle<int>& area, const NormalisedRGB& colour) {
            pieces[used].rect = area;
            pieces[used].colour = colour;
            ++used;
        };
        const int border = record.borderWidth;
        if (border == 0 || !(record.fill == record.border))
            add(rect, record.fill);
        if (border != 0) {
            add({rect.left, rect.top, rect.left + border, rect.bottom}, record.border);
            add({rect.left, rect.top, rect.right, rect.top + border}, record.border);
            add({rect.right - border, rect.top, rect.right, rect.bottom}, record.border);
            add({rect.left, rect.bottom - border, rect.right, rect.bottom}, record.border);
        }
        renderMulti(pieces.data(), used);
    }
}

void OpenGLGraphicPrimitivesRendererBase::renderMulti(const EllipseDescription* records, unsigned int count)
{
    if (!draws(count))
        return;
    glDisable(GL_TEXTURE_2D);
    // The arrays keep what the previous record left in them. An arc of more
    // than 360 degrees is drawn to its first 360.
    std::array<XY<float>, 73> mid;
    std::array<XY<float>, 73> inner;
    std::array<XY<float>, 73> outer;
    for (const EllipseDescription& record : std::span(records, count)) {
        const Kv::Rectangle<int>& rect = record.rect;
        const float cx = float(rect.left + rect.right) * 0.5f;
        const float cy = float(rect.top + rect.bottom) * 0.5f;
        const XY<float> centre(cx, coordinateSystem_ == eOriginTopLeft ? float(size_.y) - cy : cy);
        const float rx = float(std::abs(rect.right - rect.left)) * 0.5f - 0.5f;
        const float ry = float(std::abs(rect.bottom - rect.top)) * 0.5f - 0.5f;
        const int points = std::min(std::abs(record.endAngle - record.startAngle) / 5 + 1, int(mid.size()));
        const float rotation = record.rotation * kDegreesToRadians;
        const float lineWidth = record.lineWidth;
        const bool thickSolid = record.style != 0 && (rx - lineWidth <= 0.0f || ry - lineWidth <= 0.0f);
        const bool thinOutline = record.style == 0 || record.lineWidth < 2;
        const auto place = [&centre, rotation](const XY<float>& point) {
            const XY<float> turned = rotate(point, rotation);
            return XY<float>(turned.x + centre.x, turned.y + centre.y);
        };
        for (int i = 0; i < points; ++i) {
            const float angle = float(i) * kFiveDegrees + float(record.startAngle) * kDegreesToRadians;
            const XY<float> point(rx * std::cos(angle), ry * std::sin(angle));
            if (thinOutline) {
                mid[i] = place(point);
                continue;
            }
            const XY<float> normal = normalAt(point, rx, ry);
            inner[i] = place(XY<float>(point.x - lineWidth * normal.x, point.y - lineWidth * normal.y));
            outer[i] = place(XY<float>(point.x + lineWidth * normal.x, point.y + lineWidth * normal.y));
        }
        // A filled and outlined record with a thick outline fills from points
        // not written for it: callers avoid that combination.
        if (record.style != 1) {
            const bool translucent = record.fill.a < 1.0f;
            if (translucent)
                enableBlending();
            glBegin(GL_TRIANGLE_FAN);
            setColour(record.fill);
            glVertex2f(centre.x, centre.y);
            for (int i = 0; i < points; ++i)
                glVertex2f(mid[i].x, mid[i].y);
            glEnd();
            if (translucent)
                glDisable(GL_BLEND);
        }
        if (record.style == 0)
            continue;
        // Blending and smoothing stay on for what follows in the call; the
        // attributes pushed at construction restore them.
        enableBlending();
        glEnable(GL_LINE_SMOOTH);
        glHint(GL_LINE_SMOOTH_HINT, GL_NICEST);
        if (thickSolid) {
            glBegin(GL_TRIANGLE_FAN);
            setColour(record.outline);
            glVertex2f(centre.x, centre.y);
            for (int i = 0; i < points; ++i)
                glVertex2f(outer[i].x, outer[i].y);
            glEnd();
        } else if (record.lineWidth <= 1) {
            glBegin(GL_LINE_STRIP);
            setColour(record.outline);
            for (int i = 0; i < points; ++i)
                glVertex2f(mid[i].x, mid[i].y);
            glEnd();
            glDisable(GL_BLEND);
        } else {
            glBegin(GL_TRIANGLE_STRIP);
            setColour(record.outline);
            for (int i = 0; i < points; ++i) {
                glVertex2f(inner[i].x, inner[i].y);
                glVertex2f(outer[i].x, outer[i].y);
            }
            glEnd();
        }
    }
    glEnable(GL_TEXTURE_2D);
}

void OpenGLGraphicPrimitivesRendererBase::renderMulti(const LineDescription* records, unsigned int count)
{
    if (!draws(count))
        return;
    enableBlending();
    glDisable(GL_TEXTURE_2D);
    glHint(GL_LINE_SMOOTH_HINT, GL_NICEST);
    unsigned int previousStyle = 0;
    bool previousSmooth = true;
    for (unsigned int index = 0; index < count; ++index) {
        const LineDescription& line = records[index];
        const bool smooth = requiresSmoothing(line);
        // Only lines of width 0xFFFF join the open batch, as it has always
        // been: nearly every line opens its own.
        if (index == 0 || line.style != previousStyle || smooth != previousSmooth || line.width != 0xFFFF) {
            if (index != 0)
                glEnd();
            if (line.style == 1) {
                glEnable(GL_LINE_STIPPLE);
                glLineStipple(1, 0xAAAA);
            } else {
                glDisable(GL_LINE_STIPPLE);
            }
            if (smooth)
                glEnable(GL_LINE_SMOOTH);
            else
                glDisable(GL_LINE_SMOOTH);
            glLineWidth(GLfloat(line.width));
            glBegin(GL_LINES);
            previousStyle = line.style;
            previousSmooth = smooth;
        }
        setColour(line.colour);
        for (const XY<int>& end : {line.start, line.end}) {
            const float y = float(end.y) - 0.5f;
            glVertex2f(float(end.x) + 0.5f, coordinateSystem_ == eOriginTopLeft ? float(size_.y) - y : y);
        }
    }
    glEnd();
    glEnable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
}

// Half a pixel below where a line's end goes in a top-left system; kept so.
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const LineStripDescription* records, unsigned int count)
{
    if (!draws(count))
        return;
    enableBlending();
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_LINE_STIPPLE);
    glHint(GL_LINE_SMOOTH_HINT, GL_NICEST);
    glEnable(GL_LINE_SMOOTH);
    for (const LineStripDescription& strip : std::span(records, count)) {
        glLineWidth(GLfloat(strip.width));
        glBegin(GL_LINE_STRIP);
        setColour(strip.colour);
        for (const XY<float>& point : strip.points)
            glVertex2f(point.x + 0.5f,
                       (coordinateSystem_ == eOriginTopLeft ? float(size_.y) - point.y : point.y) - 0.5f);
        glEnd();
    }
    glEnable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
}

void OpenGLGraphicPrimitivesRendererBase::renderMulti(const AlphaRectDescription* records, unsigned int count)
{
    if (!draws(count))
        return;
    enableBlending();
    glDisable(GL_TEXTURE_2D);
    for (const AlphaRectDescription& record : std::span(records, count)) {
        const Kv::Rectangle<int>& rect = record.rect;
        setColour(record.colour);
        glBegin(GL_QUADS);
        glVertex2i(rect.left, mapY(rect.top));
        glVertex2i(rect.left, mapY(rect.bottom));
        glVertex2i(rect.right, mapY(rect.bottom));
        glVertex2i(rect.right, mapY(rect.top));
        glEnd();
    }
    glEnable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
}

// Unmapped in either system, and blended by whatever function is set.
void OpenGLGraphicPrimitivesRendererBase::renderMulti(const TriangleStripDescription* records, unsigned int count)
{
    if (!draws(count))
        return;
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    for (const TriangleStripDescription& strip : std::span(records, count)) {
        glBegin(GL_TRIANGLE_STRIP);
        setColour(strip.colour);
        for (const XY<int>& vertex : strip.vertices)
            glVertex2f(float(vertex.x), float(vertex.y));
        glEnd();
    }
    glDisable(GL_BLEND);
    glEnable(GL_TEXTURE_2D);
}

void OpenGLGraphicPrimitivesRendererBase::renderMulti(const ImageDescription* records, unsigned int count)
{
    if (!draws(count))
        return;
    std::vector<ImageDescriptionEx> converted(count);
    for (unsigned int index = 0; index < count; ++index) {
        const ImageDescription& record = records[index];
        ImageDescriptionEx& image = converted[index];
        image.image = record.image;
        image.blend = record.blend;
        image.dest = {float(record.dest.left), float(record.dest.top), float(record.dest.right),
                      float(record.dest.bottom)};
        image.source = {float(record.source.left), float(record.source.top), float(record.source.right),
                        float(record.source.bottom)};
    }
    renderMulti(converted.data(), count);
}

void OpenGLGraphicPrimitivesRendererBase::renderMulti(const ImageDescriptionEx* records, unsigned int count)
{
    if (!draws(count))
        return;
    // The current colour plays no part.
    glActiveTextureARB(GL_TEXTURE0_ARB);
    glEnable(GL_TEXTURE_2D);
    glTexEnvf(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
    for (const ImageDescriptionEx& record : std::span(records, count)) {
        Kv::Ptr<iOpenGLImage> image = Kv::dynamicCast<iOpenGLImage>(record.image);
        // A host image goes up anew for each record, and its texture back to
        // the cache when the record is done.
        if (!image)
            if (const Kv::Ptr<iHostImage> host = Kv::dynamicCast<iHostImage>(record.image))
                image = Kv::dynamicCast<iOpenGLImage>(OS()->mediaServices()->copyToGPU(host));
        if (size_.x <= 0 || size_.y <= 0)
            continue;
        const Kv::Ptr<iOpenGLShaderEffect> effect = Kv::dynamicCast<iOpenGLShaderEffect>(record.effect);
        if (record.blend)
            enableBlending();
        else
            glDisable(GL_BLEND);
        const XY<int> textureSize =
            image ? textureSizeOf(*image) : XY<int>(int(record.source.width()), int(record.source.height()));
        if (effect)
            drawImageThroughEffect(record, image, effect, textureSize);
        else
            drawImage(record, image, textureSize);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_BLEND);
}

// Without an image, with whichever texture is bound. The filter and wrap
// stay on the texture for whoever uses it next.
void OpenGLGraphicPrimitivesRendererBase::drawImage(const ImageDescriptionEx& record,
                                                    const Kv::Ptr<iOpenGLImage>& image, const XY<int>& textureSize)
{
    if (image)
        glBindTexture(GL_TEXTURE_2D, image->getTextureID());
    const GLint filter = record.filter == 1 ? GL_NEAREST : GL_LINEAR;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    if (!clipRegion_) {
        glBegin(GL_QUADS);
        emitImageQuad(record, textureSize);
        glEnd();
        return;
    }
    bool open = false;
    for (const Kv::Rectangle<int>& clipRectangle : clipRectangles_) {
        ImageDescriptionEx piece = record;
        if (!clip(piece, clipRectangle))
            continue;
        if (!open)
            glBegin(GL_QUADS);
        open = true;
        emitImageQuad(piece, textureSize);
    }
    if (open)
        glEnd();
}

// A fractional dest is lost: the corners go as integers.
void OpenGLGraphicPrimitivesRendererBase::emitImageQuad(const ImageDescriptionEx& record,
                                                        const XY<int>& textureSize) const
{
    const TexCoords coords(record.source, textureSize);
    const Kv::Rectangle<float>& dest = record.dest;
    glTexCoord2f(coords.s0, coords.t0);
    glVertex2i(int(dest.left), mapY(int(dest.top)));
    glTexCoord2f(coords.s0, coords.t1);
    glVertex2i(int(dest.left), mapY(int(dest.bottom)));
    glTexCoord2f(coords.s1, coords.t1);
    glVertex2i(int(dest.right), mapY(int(dest.bottom)));
    glTexCoord2f(coords.s1, coords.t0);
    glVertex2i(int(dest.right), mapY(int(dest.top)));
}

// Pass 0 alone, whatever the technique holds.
void OpenGLGraphicPrimitivesRendererBase::drawImageThroughEffect(const ImageDescriptionEx& record,
                                                                 const Kv::Ptr<iOpenGLImage>& image,
                                                                 const Kv::Ptr<iOpenGLShaderEffect>& effect,
                                                                 const XY<int>& textureSize)
{
    ImageDescriptionEx copy = record;
    ShaderTechnique(copy).setupShader();
    std::vector<iShaderEffect::Source> sources{iShaderEffect::Source("Input", image)};
    iShaderEffect::Source& input = sources.front();
    const TexCoords coords(copy.source, textureSize);
    const bool topLeft = coordinateSystem_ == eOriginTopLeft;
    if (topLeft)
        setCorners(input, {coords.s0, coords.t1}, {coords.s1, coords.t1}, {coords.s0, coords.t0},
                   {coords.s1, coords.t0});
    else
        setCorners(input, {coords.s0, coords.t0}, {coords.s1, coords.t0}, {coords.s0, coords.t1},
                   {coords.s1, coords.t1});
    const float height = float(size_.y);
    if (!clipRegion_) {
        if (topLeft) {
            const float top = copy.dest.top;
            copy.dest.top = height - copy.dest.bottom;
            copy.dest.bottom = height - top;
        }
        effect->renderPass(0, copy.dest, sources);
        return;
    }
    // A piece that the clip changed is read from its own source; its coordinates
    // stay for the next piece. In a top-left system its bottom is mapped back
    // onto itself, a slip that is kept.
    for (const Kv::Rectangle<int>& clipRectangle : clipRectangles_) {
        ImageDescriptionEx piece = copy;
        if (!clip(piece, clipRectangle))
            continue;
        if (piece.dest != copy.dest) {
            const TexCoords cut(piece.source, textureSize);
            setCorners(input, {cut.s0, cut.t0}, {cut.s1, cut.t0}, {cut.s0, cut.t1}, {cut.s1, cut.t1});
            if (topLeft) {
                piece.dest.top = height - piece.dest.bottom;
                piece.dest.bottom = height - piece.dest.top;
                input.texCoords[0].y = input.texCoords[1].y = 1.0f - cut.t0;
                input.texCoords[2].y = input.texCoords[3].y = 1.0f - cut.t1;
            }
        }
        effect->renderPass(0, piece.dest, sources);
    }
}

void OpenGLGraphicPrimitivesRendererBase::renderMulti(const TextDescription* records, unsigned int count)
{
    if (!draws(count))
        return;
    // Under the GPU lock, which the renderer holds. A failed compile draws no
    // text for the rest of the process. Never destroyed, as the effect is not.
    static const Kv::Ptr<iShaderEffect>& textEffect = *new Kv::Ptr<iShaderEffect>(getTextEffectsShader());
    if (!textEffect)
        return;
    const ShaderTechnique technique(Kv::dynamicCast<iOpenGLShaderEffect>(textEffect), LightweightString<char>());
    BatchPrimitivesRenderer<ImageDescriptionEx, 20> batch(this);
    for (const TextDescription& record : std::span(records, count)) {
        const Kv::Ptr<GPUFontBase> font = Kv::dynamicCast<GPUFontBase>(record.font);
        if (record.text.empty() || !font)
            continue;
        // A font may draw its text's image itself, over the whole of it.
        const bool scissored = glIsEnabled(GL_SCISSOR_TEST);
        if (scissored)
            glDisable(GL_SCISSOR_TEST);
        ImageDescriptionEx text = font->renderText(record);
        if (scissored)
            glEnable(GL_SCISSOR_TEST);
        if (!text.image)
            continue;
        const float x = float(record.position.x);
        const float y = float(record.position.y);
        const float width = text.source.width();
        text.dest = {x, y, x + width, y + text.source.height()};
        technique.applyTo(text);
        text.blend = true;
        // The effect is shared and the batch draws later: every text of a
        // batch shows the colour set last.
        textEffect->setColour("FaceColour1", record.colour);
        if (record.alignment.horizontal == 1) {
            text.dest.left = x - width;
            text.dest.right = x;
        } else if (record.alignment.horizontal == 2) {
            text.dest.left = x - width * 0.5f;
            text.dest.right = text.dest.left + width;
        }
        if (record.alignment.vertical == 1) {
            const float ascent = font->getMetrics().ascent;
            text.dest.top -= ascent;
            text.dest.bottom -= ascent;
        }
        if (record.selectionStart != record.selectionEnd) {
            renderMulti(batch.begin(), batch.size());
            batch.clear();
            // Ends beyond the text are taken to the text's ends.
            std::vector<int> widths;
            font->measure(record.text, widths);
            const auto widthBefore = [&widths](int characters) {
                const int within = std::clamp(characters, 0, int(widths.size()));
                return within > 0 ? widths[std::size_t(within) - 1] : 0;
            };
            RectDescription band;
            band.rect = {int(text.dest.left + float(widthBefore(record.selectionStart))), int(text.dest.top),
                         int(text.dest.left + float(widthBefore(record.selectionEnd))), int(text.dest.bottom)};
            band.colour = record.selectionColour;
            renderMulti(&band, 1);
        }
        batch.render(text);
    }
}
