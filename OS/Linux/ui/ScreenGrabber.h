#pragma once

#include <cairo.h>

#include <memory>
#include <mutex>

class ShmImage;
typedef struct _XDisplay Display;

// Stills of a display's whole screen, read from its root window: through a
// segment shared with the server where MIT-SHM allows, else over the socket.
// The segment is kept from one grab to the next while the display and its
// size stay, so the grabber must go before the connection closes. From any
// thread: lock_ guards image_.
class ScreenGrabber
{
public:
    ScreenGrabber();
    ~ScreenGrabber();

    ScreenGrabber(const ScreenGrabber&) = delete;
    ScreenGrabber& operator=(const ScreenGrabber&) = delete;

    // A new opaque ARGB32 surface of the screen's size that the caller
    // releases; null without a display, or where the server's pixels are not
    // 24-bit TrueColor.
    cairo_surface_t* grab(Display* display);

private:
    std::mutex lock_;
    std::unique_ptr<ShmImage> image_;
};
