#pragma once

#include <cairo.h>

typedef struct _XDisplay Display;

// Stills of a display's whole screen, read from its root window: through a
// segment shared with the server where MIT-SHM allows, else over the socket.
// Each grab makes its own shared segment, so grabbers on one display do not
// share state; Xlib's own lock orders their requests.
class ScreenGrabber
{
public:
    explicit ScreenGrabber(Display* display) : display_(display) {}

    // A new opaque ARGB32 surface of the screen's size that the caller
    // releases; null without a display, or where the server's pixels are not
    // 24-bit TrueColor.
    cairo_surface_t* grab() const;

private:
    Display* display_;
};
