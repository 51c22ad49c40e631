#pragma once

#include <cairo.h>

// Builds a Cairo path from bottom-up device coordinates, the space in which
// the 2D renderer works out its geometry (y grows upwards from the bottom
// row). Cairo's image space is top-down, so each y goes to Cairo as
// height - y: the renderer's flip of the top-down records and this mirror
// cancel, and a record at y = 0 lands in the image's first row.
//
// Arcs take angles as the bottom-up space has them, counter-clockwise from
// the positive x axis. The builder remembers where the path stands, so that a
// line to that same point can be left out.
class CairoBottomUpPath
{
public:
    CairoBottomUpPath(cairo_t* context, double height) : context_(context), height_(height) {}

    // A fresh path: whatever was left in the context is dropped.
    void begin();
    void moveTo(double x, double y);
    void lineTo(double x, double y);
    // Nothing when the path already stands at (x, y).
    void lineToUnlessThere(double x, double y);
    // Clockwise as seen on screen, from one angle to the other, with a line
    // from the current point to the arc's start.
    void arcClockwise(double centreX, double centreY, double radius, double from, double to);
    void curveTo(double control1X, double control1Y, double control2X, double control2Y, double x, double y);
    void close();
    // An axis-aligned rectangle by its bottom-left corner and size.
    void rectangle(double x, double y, double width, double height);

    // The top-down y of a bottom-up one.
    double mirror(double y) const { return height_ - y; }

private:
    cairo_t* context_;
    double height_;
    double currentX_ = 0.0;
    double currentY_ = 0.0;
    bool hasCurrent_ = false;
};
