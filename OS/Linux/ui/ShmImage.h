#pragma once

#include "KvRectangle.h"
#include "XY.h"
#include "iRegion.h"

#include <cairo.h>


typedef struct _XDisplay Display;
typedef union _XEvent XEvent;
struct _XImage;

// Pixels in main memory that Cairo draws into and X shows: shared with the
// server through MIT-SHM where it offers it (a local server), else sent
// with each put. The layout is Cairo's ARGB32, which a 24-bit TrueColor
// visual reads as it stands.
class ShmImage
{
public:
    ShmImage(Display* display, const XY<int>& size);
    ~ShmImage();

    ShmImage(const ShmImage&) = delete;
    ShmImage& operator=(const ShmImage&) = delete;

    // Null where the visual cannot show Cairo's pixels.
    cairo_surface_t* surface() const { return surface_; }
    XY<int> size() const { return size_; }
    Display* display() const { return display_; }
    // Shows those parts of the pixels at the same place in the window. The
    // server reads shared pixels later: wait before drawing into them again.
    void put(unsigned long window, const iRegion::Rectangles& rects);
    // Reads the image's size of the drawable's pixels from its top left into
    // the image; false when there is no surface or the server refuses.
    bool get(unsigned long drawable);
    // Returns once the server has read the pixels of the last put.
    void waitUntilShown();
    // True for the server's word that the last put is read; the image then
    // is free again.
    bool takeCompletion(const XEvent& event);

private:
    bool attachShared();

    Display* display_;
    XY<int> size_;
    _XImage* image_ = nullptr;
    int shmId_ = -1;
    void* shared_ = nullptr;
    bool attached_ = false;
    bool busy_ = false;
    unsigned long segment_ = 0;
    int completionType_ = -1;
    cairo_surface_t* surface_ = nullptr;
};
