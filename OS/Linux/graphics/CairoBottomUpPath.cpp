#include "CairoBottomUpPath.h"

#include <cmath>
#include <numbers>

namespace
{
    // Arc ends come from sines and cosines; closer than this is the same point.
    constexpr double kSamePoint = 1e-9;
}

void CairoBottomUpPath::begin()
{
    cairo_new_path(context_);
    hasCurrent_ = false;
}

void CairoBottomUpPath::moveTo(double x, double y)
{
    cairo_move_to(context_, x, mirror(y));
    currentX_ = x;
    currentY_ = y;
    hasCurrent_ = true;
}

void CairoBottomUpPath::lineTo(double x, double y)
{
    cairo_line_to(context_, x, mirror(y));
    currentX_ = x;
    currentY_ = y;
    hasCurrent_ = true;
}

void CairoBottomUpPath::lineToUnlessThere(double x, double y)
{
    if (hasCurrent_ && std::fabs(currentX_ - x) < kSamePoint && std::fabs(currentY_ - y) < kSamePoint)
        return;
    lineTo(x, y);
}

void CairoBottomUpPath::arcClockwise(double centreX, double centreY, double radius, double from, double to)
{
    // The mirror turns an angle a into -a, and a clockwise sweep in the
    // bottom-up space into Cairo's rising one. Cairo would make a whole turn
    // an empty arc; it is meant as the whole circle.
    if (std::fabs(to - from) >= 2.0 * std::numbers::pi)
        cairo_arc(context_, centreX, mirror(centreY), radius, -from, -from + 2.0 * std::numbers::pi);
    else
        cairo_arc(context_, centreX, mirror(centreY), radius, -from, -to);
    currentX_ = centreX + radius * std::cos(to);
    currentY_ = centreY + radius * std::sin(to);
    hasCurrent_ = true;
}

void CairoBottomUpPath::curveTo(double control1X, double control1Y, double control2X, double control2Y, double x,
                                double y)
{
    cairo_curve_to(context_, control1X, mirror(control1Y), control2X, mirror(control2Y), x, mirror(y));
    currentX_ = x;
    currentY_ = y;
    hasCurrent_ = true;
}

void CairoBottomUpPath::close()
{
    cairo_close_path(context_);
    hasCurrent_ = false;
}

void CairoBottomUpPath::rectangle(double x, double y, double width, double height)
{
    cairo_rectangle(context_, x, mirror(y + height), width, height);
    hasCurrent_ = false;
}
