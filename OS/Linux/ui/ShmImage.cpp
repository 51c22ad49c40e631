#include "ShmImage.h"

#include "X11Application.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>

#include <poll.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace
{
    bool attachFailed = false;

    int noteAttachFailure(Display*, XErrorEvent*)
    {
        attachFailed = true;
        return 0;
    }

    bool showsCairoPixels(Visual* visual, int depth)
    {
        return (depth == 24 || depth == 32) && visual->red_mask == 0xFF0000 && visual->green_mask == 0xFF00 &&
               visual->blue_mask == 0xFF;
    }
}

ShmImage::ShmImage(Display* display, const XY<int>& size)
    : display_(display), size_(std::max(1, size.x), std::max(1, size.y))
{
    if (!display_)
        return;
    const int screen = DefaultScreen(display_);
    Visual* visual = DefaultVisual(display_, screen);
    const int depth = DefaultDepth(display_, screen);
    if (!showsCairoPixels(visual, depth))
        return;
    if (!attachShared()) {
        const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_ARGB32, size_.x);
        char* pixels = static_cast<char*>(std::calloc(size_t(stride) * size_.y, 1));
        image_ = XCreateImage(display_, visual, depth, ZPixmap, 0, pixels, size_.x, size_.y, 32, stride);
        if (!image_) {
            std::free(pixels);
            return;
        }
    }
    surface_ = cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(image_->data),
                                                   CAIRO_FORMAT_ARGB32, size_.x, size_.y, image_->bytes_per_line);
}

ShmImage::~ShmImage()
{
    if (surface_) {
        // A renderer kept past its paint then draws nowhere.
        cairo_surface_finish(surface_);
        cairo_surface_destroy(surface_);
    }
    if (attached_) {
        auto* info = reinterpret_cast<XShmSegmentInfo*>(image_->obdata);
        XShmDetach(display_, info);
        XSync(display_, False);
        delete info;
        image_->obdata = nullptr;
    }
    if (shared_) {
        shmdt(shared_);
        image_->data = nullptr;
    }
    if (image_)
        XDestroyImage(image_);
}

bool ShmImage::attachShared()
{
    if (!XShmQueryExtension(display_))
        return false;
    const int screen = DefaultScreen(display_);
    auto* info = new XShmSegmentInfo{};
    image_ = XShmCreateImage(display_, DefaultVisual(display_, screen), DefaultDepth(display_, screen), ZPixmap,
                             nullptr, info, size_.x, size_.y);
    if (!image_) {
        delete info;
        return false;
    }
    image_->obdata = reinterpret_cast<char*>(info);
    shmId_ = shmget(IPC_PRIVATE, size_t(image_->bytes_per_line) * size_.y, IPC_CREAT | 0600);
    if (shmId_ >= 0)
        shared_ = shmat(shmId_, nullptr, 0);
    if (shared_ == reinterpret_cast<void*>(-1))
        shared_ = nullptr;
    if (shared_) {
        info->shmid = shmId_;
        info->shmaddr = image_->data = static_cast<char*>(shared_);
        info->readOnly = False;
        // A server on another machine refuses the segment, and says so only
        // by an error.
        attachFailed = false;
        XErrorHandler previous = XSetErrorHandler(noteAttachFailure);
        XShmAttach(display_, info);
        XSync(display_, False);
        XSetErrorHandler(previous);
        attached_ = !attachFailed;
        segment_ = info->shmseg;
        completionType_ = XShmGetEventBase(display_) + ShmCompletion;
    }
    // Marked for removal now: it goes when the last process lets go.
    if (shmId_ >= 0)
        shmctl(shmId_, IPC_RMID, nullptr);
    if (attached_)
        return true;
    if (shared_)
        shmdt(shared_);
    shared_ = nullptr;
    image_->data = nullptr;
    image_->obdata = nullptr;
    XDestroyImage(image_);
    image_ = nullptr;
    delete info;
    return false;
}

void ShmImage::put(unsigned long window, const iRegion::Rectangles& rects)
{
    if (!surface_)
        return;
    cairo_surface_flush(surface_);
    GC gc = DefaultGC(display_, DefaultScreen(display_));
    std::vector<Kv::Rectangle<int>> parts;
    for (const Kv::Rectangle<int>& rect : rects) {
        const Kv::Rectangle<int> inside = rect.intersection({0, 0, size_.x, size_.y});
        if (inside.width() > 0 && inside.height() > 0)
            parts.push_back(inside);
    }
    for (size_t i = 0; i < parts.size(); ++i) {
        const Kv::Rectangle<int>& part = parts[i];
        // The server answers the last put once it has read every one before.
        if (attached_)
            XShmPutImage(display_, window, gc, image_, part.left, part.top, part.left, part.top, part.width(),
                         part.height(), i + 1 == parts.size());
        else
            XPutImage(display_, window, gc, image_, part.left, part.top, part.left, part.top, part.width(),
                      part.height());
    }
    busy_ = attached_ && !parts.empty();
    XFlush(display_);
}

bool ShmImage::get(unsigned long drawable)
{
    if (!surface_)
        return false;
    cairo_surface_flush(surface_);
    const bool read = attached_ ? XShmGetImage(display_, drawable, image_, 0, 0, AllPlanes)
                                : XGetSubImage(display_, drawable, 0, 0, size_.x, size_.y, AllPlanes, ZPixmap, image_,
                                               0, 0) != nullptr;
    cairo_surface_mark_dirty(surface_);
    return read;
}

bool ShmImage::takeCompletion(const XEvent& event)
{
    // No Xlib call here: it also serves as a predicate while Xlib holds the display.
    if (!attached_ || event.type != completionType_ ||
        reinterpret_cast<const XShmCompletionEvent&>(event).shmseg != segment_)
        return false;
    busy_ = false;
    return true;
}

void ShmImage::waitUntilShown()
{
    XEvent event;
    // Other events wait in Xlib's queue for the main loop.
    while (busy_ && X11Application::instance().display())
        if (XCheckIfEvent(
                display_, &event,
                [](Display*, XEvent* candidate, XPointer self) {
                    return Bool(reinterpret_cast<ShmImage*>(self)->takeCompletion(*candidate));
                },
                reinterpret_cast<XPointer>(this)) == False) {
            pollfd readable{ConnectionNumber(display_), POLLIN, 0};
            poll(&readable, 1, 100);
        }
}
