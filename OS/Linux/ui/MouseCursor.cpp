#include "MouseCursor.h"

#include "RootWindowImpl.h"

#include "CairoImage.h"
#include "X11Application.h"

#include <algorithm>
#include <cairo.h>
#include <iterator>

// Last: Xlib's macros would clash with the names above.
#include <X11/Xcursor/Xcursor.h>
#include <X11/Xlib.h>
#include <X11/cursorfont.h>

namespace
{
    // A theme name, and the core cursor font's glyph for a theme without it.
    struct StockShape
    {
        const char* name;
        unsigned int fontShape;
    };

    constexpr StockShape arrow = {"default", XC_left_ptr};
    constexpr StockShape eastWest = {"ew-resize", XC_sb_h_double_arrow};
    constexpr StockShape northSouth = {"ns-resize", XC_sb_v_double_arrow};
    // The core font has no diagonal double arrows: a corner says as much.
    constexpr StockShape northEastSouthWest = {"nesw-resize", XC_top_right_corner};
    constexpr StockShape northWestSouthEast = {"nwse-resize", XC_top_left_corner};
    constexpr StockShape notAllowed = {"not-allowed", XC_X_cursor};
    constexpr StockShape text = {"text", XC_xterm};

    // Indexed by iMouseCursor::eStockCursor.
    constexpr StockShape stockShapes[] = {
        arrow,
        eastWest, eastWest, eastWest,
        northSouth, northSouth, northSouth,
        northEastSouthWest, northEastSouthWest, northEastSouthWest,
        northWestSouthEast, northWestSouthEast, northWestSouthEast,
        arrow,
        notAllowed,
        text,
    };

    const StockShape& shapeOf(unsigned int stock)
    {
        return stock < std::size(stockShapes) ? stockShapes[stock] : arrow;
    }

    Cursor loadStock(Display* display, const StockShape& shape)
    {
        const Cursor cursor = XcursorLibraryLoadCursor(display, shape.name);
        return cursor != None ? cursor : XCreateFontCursor(display, shape.fontShape);
    }

    // None when the image has no pixels. Cairo paints whatever the image's
    // surface holds into Xcursor's premultiplied ARGB, which is Cairo's own
    // ARGB32 layout.
    Cursor loadImage(Display* display, Kv::Ptr<iHostImage> image, const XY<int>& hotSpot)
    {
        cairo_surface_t* source = CairoImage::makeSurface(image);
        if (!source)
            return None;
        const int width = cairo_image_surface_get_width(source);
        const int height = cairo_image_surface_get_height(source);
        XcursorImage* pixels = width > 0 && height > 0 ? XcursorImageCreate(width, height) : nullptr;
        Cursor cursor = None;
        if (pixels) {
            cairo_surface_t* target = cairo_image_surface_create_for_data(
                reinterpret_cast<unsigned char*>(pixels->pixels), CAIRO_FORMAT_ARGB32, width, height, width * 4);
            cairo_t* context = cairo_create(target);
            cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
            cairo_set_source_surface(context, source, 0, 0);
            cairo_paint(context);
            cairo_destroy(context);
            cairo_surface_destroy(target);
            // The server refuses a hot spot outside the image.
            const int ratio = CairoImage::getDevicePixelRatio(image);
            pixels->xhot = static_cast<XcursorDim>(std::clamp(hotSpot.x * ratio, 0, width - 1));
            pixels->yhot = static_cast<XcursorDim>(std::clamp(hotSpot.y * ratio, 0, height - 1));
            cursor = XcursorImageLoadCursor(display, pixels);
            XcursorImageDestroy(pixels);
        }
        cairo_surface_destroy(source);
        return cursor;
    }
}

Kv::Ptr<iMouseCursor> MouseCursor::create(iMouseCursor::eStockCursor stock)
{
    Display* display = X11Application::instance().display();
    return Kv::Ptr<iMouseCursor>(new MouseCursor(display ? loadStock(display, shapeOf(stock)) : None));
}

Kv::Ptr<iMouseCursor> MouseCursor::create(Kv::Ptr<iHostImage> image, const XY<int>& hotSpot)
{
    Display* display = X11Application::instance().display();
    const Cursor cursor = display ? loadImage(display, image, hotSpot) : None;
    return cursor != None ? Kv::Ptr<iMouseCursor>(new MouseCursor(cursor)) : create(eArrow);
}

MouseCursor::MouseCursor(unsigned long cursor) : cursor_(cursor) {}

MouseCursor::~MouseCursor()
{
    Display* display = X11Application::instance().display();
    if (display && cursor_ != None)
        XFreeCursor(display, cursor_);
}

void MouseCursor::makeCurrent()
{
    Display* display = X11Application::instance().display();
    if (!display || cursor_ == None)
        return;
    // The root window shows it where no window of ours is yet; views show
    // their top-level window's.
    XDefineCursor(display, DefaultRootWindow(display), cursor_);
    RootWindowImpl::defineCursor(cursor_);
    XFlush(display);
}
