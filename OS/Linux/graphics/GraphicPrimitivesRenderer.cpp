#include "GraphicPrimitivesRenderer.h"

#include "CairoBottomUpPath.h"
#include "CairoImage.h"
#include "Font.h"
#include "GraphicPrimitives.h"
#include "Region.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <numbers>

namespace
{
    constexpr double kPi = std::numbers::pi;

    // Copy is the resting mode; normal blending is over.
    constexpr cairo_operator_t kCopy = CAIRO_OPERATOR_SOURCE;
    constexpr cairo_operator_t kNormal = CAIRO_OPERATOR_OVER;

    void setColour(cairo_t* context, const NormalisedRGB& colour)
    {
        cairo_set_source_rgba(context, colour.r, colour.g, colour.b, colour.a);
    }

    // Sizes are cut the way the 16-bit fields they once went into cut them.
    std::uint16_t truncated16(double value) { return std::uint16_t(std::int64_t(value)); }

    // The ellipse inside a rectangle, which may have come out with a negative
    // size; false, and no path, when it has no area.
    bool addEllipse(cairo_t* context, double x, double top, double width, double height)
    {
        if (width < 0) {
            x += width;
            width = -width;
        }
        if (height < 0) {
            top += height;
            height = -height;
        }
        if (width == 0 || height == 0)
            return false;
        cairo_matrix_t matrix;
        cairo_get_matrix(context, &matrix);
        cairo_translate(context, x + width / 2, top + height / 2);
        cairo_scale(context, width / 2, height / 2);
        cairo_new_path(context);
        cairo_arc(context, 0, 0, 1, 0, 2 * kPi);
        // The path keeps the shape; the stroke that follows must not be scaled.
        cairo_set_matrix(context, &matrix);
        return true;
    }
}

GraphicPrimitivesRenderer::GraphicPrimitivesRenderer(cairo_t* context, const XY<int>& size, float scale)
    : context_(cairo_reference(context)), size_(size), scale_(scale)
{
    cairo_save(context_);
    cairo_set_operator(context_, kCopy);
    // Glyph smoothing and subpixel positions are the Font's own Pango options;
    // the context governs only the shapes.
    cairo_set_antialias(context_, CAIRO_ANTIALIAS_DEFAULT);
}

GraphicPrimitivesRenderer::~GraphicPrimitivesRenderer()
{
    cairo_restore(context_);
    cairo_surface_flush(cairo_get_target(context_));
    cairo_destroy(context_);
}

GraphicPrimitivesRenderer::DeviceRect GraphicPrimitivesRenderer::makeBottomUp(
    const Kv::Rectangle<int>& rectangle) const
{
    return {rectangle.left * double(scale_), size_.y - rectangle.bottom * double(scale_),
            rectangle.width() * double(scale_), rectangle.height() * double(scale_)};
}

GraphicPrimitivesRenderer::DevicePoint GraphicPrimitivesRenderer::makeBottomUp(const XY<int>& point) const
{
    return {point.x * double(scale_), (size_.y - point.y) * double(scale_)};
}

void GraphicPrimitivesRenderer::setCurrentColour(const NormalisedRGB& colour) { setColour(context_, colour); }

void GraphicPrimitivesRenderer::setClipRegion(Kv::Ptr<iRegion> region)
{
    // Back to the state saved at construction, which has no clip. Whatever
    // else was set since goes too, and has to be what the context had.
    cairo_restore(context_);
    cairo_save(context_);

    const Region* shape = dynamic_cast<const Region*>(region.get());
    if (!shape)
        return;
    CairoBottomUpPath path(context_, size_.y);
    path.begin();
    if (shape->isRectangular()) {
        const DeviceRect bounds = makeBottomUp(shape->getBounds());
        path.rectangle(bounds.x, bounds.y, bounds.width, bounds.height);
    } else {
        iRegion::Rectangles rectangles;
        shape->getData(rectangles);
        for (const Kv::Rectangle<int>& rectangle : rectangles) {
            const DeviceRect flipped = makeBottomUp(rectangle);
            path.rectangle(flipped.x, flipped.y, flipped.width, flipped.height);
        }
    }
    cairo_clip(context_);
}

void GraphicPrimitivesRenderer::setAntialiasingEnabled(bool enabled)
{
    if (bool(antialias_) == enabled)
        return;
    antialias_ = enabled;
    cairo_set_antialias(context_, enabled ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
}

void GraphicPrimitivesRenderer::renderMulti(const RectDescription* records, unsigned int count)
{
    CairoBottomUpPath path(context_, size_.y);
    for (unsigned int index = 0; index < count; ++index) {
        const RectDescription& record = records[index];
        cairo_set_operator(context_, record.blendMode == 1 ? kNormal : kCopy);
        if (record.gradient) {
            fillGradient(record);
            continue;
        }
        setColour(context_, record.colour);
        const DeviceRect flipped = makeBottomUp(record.rect);
        path.rectangle(flipped.x, flipped.y, flipped.width, flipped.height);
        cairo_fill(context_);
    }
    cairo_set_operator(context_, kCopy);
}

void GraphicPrimitivesRenderer::fillGradient(const RectDescription& record)
{
    // One device row at a time from the bottom up, so gradientEnd is the
    // bottom row's colour and colour is only approached at the top.
    CairoBottomUpPath path(context_, size_.y);
    const DeviceRect flipped = makeBottomUp(record.rect);
    const std::uint16_t rows = truncated16(record.rect.height() * double(scale_));
    const NormalisedRGB& first = record.colour;
    const NormalisedRGB& end = record.gradientEnd;
    for (std::uint16_t row = 0; row < rows; ++row) {
        const double f = double(row) / rows;
        cairo_set_source_rgba(context_, first.r * f + end.r * (1 - f), first.g * f + end.g * (1 - f),
                              first.b * f + end.b * (1 - f), 1.0);
        path.rectangle(flipped.x, flipped.y + row, flipped.width, 1.0);
        cairo_fill(context_);
    }
}

void GraphicPrimitivesRenderer::renderMulti(const RoundedRectDescription* records, unsigned int count)
{
    CairoBottomUpPath path(context_, size_.y);
    for (unsigned int index = 0; index < count; ++index) {
        const RoundedRectDescription& record = records[index];
        addRoundedRect(path, record);
        const double border = record.borderWidth * double(scale_);
        if (!(record.fill == record.border)) {
            setColour(context_, record.fill);
            cairo_fill_preserve(context_);
            setColour(context_, record.border);
            cairo_set_line_width(context_, border);
            // Cairo strokes nothing at width 0; skip the work.
            if (border != 0)
                cairo_stroke(context_);
            else
                cairo_new_path(context_);
        } else if (record.borderWidth != 0) {
            // An outline alone: the inside is left as it was.
            setColour(context_, record.border);
            cairo_set_line_width(context_, border);
            cairo_stroke(context_);
        } else {
            setColour(context_, record.fill);
            cairo_fill(context_);
        }
    }
}

void GraphicPrimitivesRenderer::addRoundedRect(CairoBottomUpPath& path, const RoundedRectDescription& record) const
{
    DeviceRect flipped = makeBottomUp(record.rect);
    // The stroke is centred on the path: pulled in by half its width, it
    // stays inside rect.
    const double border = record.borderWidth * double(scale_);
    if (border != 0) {
        flipped.x += border / 2;
        flipped.y += border / 2;
        flipped.width -= border;
        flipped.height -= border;
    }
    const double r = truncated16(record.radius * double(scale_));
    const int left = int(flipped.x);
    const int bottom = int(flipped.y);
    const int right = int(flipped.x + flipped.width);
    const int top = int(flipped.y + flipped.height);
    const unsigned int corners = record.corners;
    const double rTopLeft = (corners & RoundedRectDescription::eTopLeft) ? r : 0;
    const double rTopRight = (corners & RoundedRectDescription::eTopRight) ? r : 0;
    const double rBottomLeft = (corners & RoundedRectDescription::eBottomLeft) ? r : 0;
    const double rBottomRight = (corners & RoundedRectDescription::eBottomRight) ? r : 0;
    // Two round corners on one side that meet make one semicircle.
    const bool cornersMeet = top - r == bottom + r;

    path.begin();
    path.moveTo(left + rTopLeft, top);
    if (corners == 0 && left == right && top == bottom) {
        path.arcClockwise(flipped.x + r, flipped.y + r, r, 0, 2 * kPi);
    } else {
        path.lineToUnlessThere(right - rTopRight, top);
        const unsigned int rightSide = RoundedRectDescription::eTopRight | RoundedRectDescription::eBottomRight;
        if ((corners & rightSide) == rightSide && cornersMeet) {
            path.arcClockwise(right - r, top - r, r, kPi / 2, 3 * kPi / 2);
        } else {
            if (rTopRight != 0)
                path.arcClockwise(right - r, top - r, r, kPi / 2, 0);
            path.lineToUnlessThere(right, bottom + rBottomRight);
            if (rBottomRight != 0)
                path.arcClockwise(right - r, bottom + r, r, 0, 3 * kPi / 2);
        }
        if (rBottomLeft + rBottomRight < right - left)
            path.lineTo(left + rBottomLeft, bottom);
        const unsigned int leftSide = RoundedRectDescription::eTopLeft | RoundedRectDescription::eBottomLeft;
        if ((corners & leftSide) == leftSide && cornersMeet) {
            path.arcClockwise(left + r, bottom + r, r, 3 * kPi / 2, kPi / 2);
        } else {
            if (rBottomLeft != 0)
                path.arcClockwise(left + r, bottom + r, r, 3 * kPi / 2, kPi);
            path.lineToUnlessThere(left, top - rTopLeft);
            if (rTopLeft != 0)
                path.arcClockwise(left + r, top - r, r, kPi, kPi / 2);
        }
    }
    path.close();
}

void GraphicPrimitivesRenderer::renderMulti(const EllipseDescription* records, unsigned int count)
{
    CairoBottomUpPath path(context_, size_.y);
    for (unsigned int index = 0; index < count; ++index) {
        const EllipseDescription& record = records[index];
        const bool fills = record.style == 0 || record.style == 2;
        const bool strokes = record.style == 1 || record.style == 2;
        DeviceRect flipped = makeBottomUp(record.rect);
        if (record.startAngle == 0 && record.endAngle == 360) {
            // The inset is in device pixels as it stands, whatever the scale.
            flipped.x += record.lineWidth / 2.0;
            flipped.y += record.lineWidth / 2.0;
            flipped.width -= record.lineWidth;
            flipped.height -= record.lineWidth;
            const double top = path.mirror(flipped.y + flipped.height);
            if (fills && addEllipse(context_, flipped.x, top, flipped.width, flipped.height)) {
                setColour(context_, record.fill);
                cairo_fill(context_);
            }
            if (strokes && addEllipse(context_, flipped.x, top, flipped.width, flipped.height)) {
                cairo_set_line_width(context_, record.lineWidth * double(scale_));
                setColour(context_, record.outline);
                cairo_stroke(context_);
            }
            continue;
        }
        // An arc is never filled.
        path.begin();
        path.arcClockwise(flipped.x + flipped.width / 2, flipped.y + flipped.height / 2, flipped.width / 2,
                          (360 - record.startAngle) * kPi / 180, (360 - record.endAngle) * kPi / 180);
        if (strokes) {
            cairo_set_line_width(context_, record.lineWidth * double(scale_));
            setColour(context_, record.outline);
            cairo_stroke(context_);
        } else {
            cairo_new_path(context_);
        }
    }
}

void GraphicPrimitivesRenderer::renderMulti(const LineDescription* records, unsigned int count)
{
    CairoBottomUpPath path(context_, size_.y);
    for (unsigned int index = 0; index < count; ++index) {
        const LineDescription& record = records[index];
        const std::uint16_t w = truncated16(record.width * double(scale_));
        setColour(context_, record.colour);
        cairo_set_line_width(context_, w);
        // Lines along an axis stay crisp whatever the setting.
        const bool alongAxis = record.start.x == record.end.x || record.start.y == record.end.y;
        if (alongAxis)
            cairo_set_antialias(context_, CAIRO_ANTIALIAS_NONE);
        const int shift = w / 2;
        const DevicePoint start = makeBottomUp(record.start);
        const DevicePoint end = makeBottomUp(record.end);
        // Cairo refuses a dash of zero lengths, and a line of width 0 shows
        // nothing anyway.
        const bool dashed = record.style == 1 && w != 0;
        if (dashed) {
            const double lengths[] = {double(w), double(w)};
            cairo_set_dash(context_, lengths, 2, 0);
        }
        path.begin();
        path.moveTo(start.x + shift, start.y + shift);
        path.lineTo(end.x + shift, end.y + shift);
        cairo_stroke(context_);
        if (alongAxis && antialias_)
            cairo_set_antialias(context_, CAIRO_ANTIALIAS_DEFAULT);
        if (dashed)
            cairo_set_dash(context_, nullptr, 0, 0);
    }
}

void GraphicPrimitivesRenderer::renderMulti(const TextDescription* records, unsigned int count)
{
    // Bands and underlines first, all of them, so that no text of the batch
    // is covered by another record's band.
    for (unsigned int index = 0; index < count; ++index) {
        const Font* font = dynamic_cast<const Font*>(records[index].font.get());
        if (font && !records[index].text.empty())
            renderTextDecorations(records[index], *font);
    }

    cairo_matrix_t matrix;
    cairo_get_matrix(context_, &matrix);
    cairo_scale(context_, scale_, scale_);
    cairo_set_operator(context_, kNormal);
    for (unsigned int index = 0; index < count; ++index) {
        const TextDescription& record = records[index];
        const Font* font = dynamic_cast<const Font*>(record.font.get());
        if (!font || record.text.empty())
            continue;
        PangoLayoutLine* line = font->getLine(record.text);
        if (!line)
            continue;
        setColour(context_, record.colour);
        const DevicePoint pen = makeBottomUp(record.position);
        CairoBottomUpPath path(context_, size_.y);
        // The pen on the baseline, in the scaled space.
        cairo_move_to(context_, pen.x / scale_, path.mirror(pen.y) / scale_);
        pango_cairo_show_layout_line(context_, line);
    }
    cairo_new_path(context_);
    cairo_set_matrix(context_, &matrix);
    cairo_set_operator(context_, kCopy);
}

void GraphicPrimitivesRenderer::renderTextDecorations(const TextDescription& record, const Font& font)
{
    const XY<int>& position = record.position;
    if (record.selectionStart != record.selectionEnd) {
        const int lo = std::min(record.selectionStart, record.selectionEnd);
        const int hi = std::max(record.selectionStart, record.selectionEnd);
        int x = position.x;
        if (lo != 0)
            x += font.measure(record.text, short(lo)).x;
        const int w = font.measure(record.text.substr(unsigned(lo), unsigned(hi - lo)), 0).x;
        const iFont::Metrics metrics = font.getMetrics();
        RectDescription band;
        band.rect = {x, position.y - metrics.capHeight - 2, x + w, position.y + metrics.descent};
        band.colour = record.selectionColour;
        renderMulti(&band, 1);
    }
    if (record.underline) {
        unsigned int spaces = 0;
        while (spaces < record.text.size() && record.text[spaces] == L' ')
            ++spaces;
        const int spaceWidth = font.measure(LightweightString<wchar_t>(L" "), 0).x;
        const int fullWidth = font.measure(record.text, 0).x;
        LineDescription underline;
        underline.start = XY<int>(position.x + int(spaces) * spaceWidth, position.y + 2);
        underline.end = XY<int>(position.x + fullWidth, position.y + 2);
        underline.colour = record.colour;
        underline.colour2 = record.colour;
        underline.style = 0;
        underline.width = 1;
        underline.flag = 1;
        renderMulti(&underline, 1);
    }
}

void GraphicPrimitivesRenderer::renderMulti(const AlphaRectDescription* records, unsigned int count)
{
    CairoBottomUpPath path(context_, size_.y);
    for (unsigned int index = 0; index < count; ++index) {
        const AlphaRectDescription& record = records[index];
        setColour(context_, record.colour);
        // Other modes keep whatever the last record chose.
        if (record.alphaMode == 0 || record.alphaMode == 1)
            cairo_set_operator(context_, kCopy);
        else if (record.alphaMode == 2)
            cairo_set_operator(context_, kNormal);
        const DeviceRect flipped = makeBottomUp(record.rect);
        path.rectangle(flipped.x, flipped.y, flipped.width, flipped.height);
        cairo_fill(context_);
    }
    cairo_set_operator(context_, kCopy);
}

void GraphicPrimitivesRenderer::renderMulti(const BezierCurveDescription* records, unsigned int count)
{
    CairoBottomUpPath path(context_, size_.y);
    for (unsigned int index = 0; index < count; ++index) {
        const BezierCurveDescription& record = records[index];
        const DevicePoint start = makeBottomUp(record.start);
        const DevicePoint control1 = makeBottomUp(record.control1);
        const DevicePoint control2 = makeBottomUp(record.control2);
        const DevicePoint end = makeBottomUp(record.end);
        path.begin();
        path.moveTo(start.x, start.y);
        path.curveTo(control1.x, control1.y, control2.x, control2.y, end.x, end.y);
        setColour(context_, record.colour);
        // The width is not scaled.
        cairo_set_line_width(context_, record.width);
        cairo_stroke(context_);
    }
}

void GraphicPrimitivesRenderer::renderMulti(const ImageDescription* records, unsigned int count)
{
    for (unsigned int index = 0; index < count; ++index)
        drawImage(records[index]);
    cairo_set_operator(context_, kCopy);
}

void GraphicPrimitivesRenderer::drawImage(const ImageDescription& record)
{
    if (!record.image)
        return;
    const XY<int> logicalSize = record.image->getSize();
    if (logicalSize.x <= 0 || logicalSize.y <= 0)
        return;
    cairo_surface_t* image = CairoImage::makeSurface(record.image);
    if (!image)
        return;

    const int imageWidth = cairo_image_surface_get_width(image);
    const int imageHeight = cairo_image_surface_get_height(image);
    cairo_surface_t* drawn = image;
    int drawnWidth = imageWidth;
    int drawnHeight = imageHeight;
    const Kv::Rectangle<int>& source = record.source;
    if (!(source == Kv::Rectangle<int>{0, 0, imageWidth, imageHeight})) {
        // The source is in logical pixels; the surface may hold more. Like a
        // cut of an image, the part is what lies inside the image.
        const int ratio = std::uint8_t(imageWidth / logicalSize.x);
        const int left = std::max(source.left * ratio, 0);
        const int top = std::max(source.top * ratio, 0);
        const int right = std::min((source.left + source.width()) * ratio, imageWidth);
        const int bottom = std::min((source.top + source.height()) * ratio, imageHeight);
        if (right <= left || bottom <= top) {
            cairo_surface_destroy(image);
            return;
        }
        drawnWidth = right - left;
        drawnHeight = bottom - top;
        drawn = cairo_surface_create_for_rectangle(image, left, top, drawnWidth, drawnHeight);
    }

    CairoBottomUpPath path(context_, size_.y);
    const DeviceRect dest = makeBottomUp(record.dest);
    // An empty destination would give Cairo a matrix it cannot invert.
    if (dest.width != 0 && dest.height != 0) {
        const bool blends = record.blend || record.alpha != 1.0f;
        cairo_set_operator(context_, blends ? kNormal : kCopy);
        const double destLeft = dest.x;
        const double destTop = path.mirror(dest.y + dest.height);
        cairo_pattern_t* pattern = cairo_pattern_create_for_surface(drawn);
        cairo_matrix_t toImage;
        cairo_matrix_init_scale(&toImage, drawnWidth / dest.width, drawnHeight / dest.height);
        cairo_matrix_translate(&toImage, -destLeft, -destTop);
        cairo_pattern_set_matrix(pattern, &toImage);
        // Images are drawn without interpolation: each pixel keeps its value.
        cairo_pattern_set_filter(pattern, CAIRO_FILTER_NEAREST);
        // A scaled image is sampled up to its own edges and no further.
        if (drawnWidth != dest.width || drawnHeight != dest.height)
            cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
        cairo_set_source(context_, pattern);
        path.rectangle(dest.x, dest.y, dest.width, dest.height);
        if (record.alpha == 1.0f) {
            cairo_fill(context_);
        } else {
            cairo_save(context_);
            cairo_clip(context_);
            cairo_paint_with_alpha(context_, record.alpha);
            cairo_restore(context_);
        }
        cairo_pattern_destroy(pattern);
    }
    if (drawn != image)
        cairo_surface_destroy(drawn);
    cairo_surface_destroy(image);
}
