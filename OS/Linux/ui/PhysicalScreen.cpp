#include "PhysicalScreen.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

#include <algorithm>

namespace
{
    // The desktop's usable area from _NET_WORKAREA for the current desktop;
    // without a window manager that sets it, the whole root window.
    Kv::Rectangle<int> workArea(Display* display)
    {
        const Window root = DefaultRootWindow(display);
        const int screen = DefaultScreen(display);
        Kv::Rectangle<int> area{0, 0, DisplayWidth(display, screen), DisplayHeight(display, screen)};
        auto readCardinals = [&](const char* name, std::vector<long>& values) {
            Atom type = None;
            int format = 0;
            unsigned long count = 0;
            unsigned long remaining = 0;
            unsigned char* data = nullptr;
            if (XGetWindowProperty(display, root, XInternAtom(display, name, False), 0, 1024, False, XA_CARDINAL,
                                   &type, &format, &count, &remaining, &data) == Success &&
                data && format == 32)
                values.assign(reinterpret_cast<long*>(data), reinterpret_cast<long*>(data) + count);
            if (data)
                XFree(data);
        };
        std::vector<long> areas;
        std::vector<long> desktop;
        readCardinals("_NET_WORKAREA", areas);
        readCardinals("_NET_CURRENT_DESKTOP", desktop);
        const size_t index = desktop.empty() ? 0 : size_t(desktop[0]) * 4;
        if (index + 4 <= areas.size() && areas[index + 2] > 0 && areas[index + 3] > 0)
            area = {int(areas[index]), int(areas[index + 1]), int(areas[index] + areas[index + 2]),
                    int(areas[index + 1] + areas[index + 3])};
        return area;
    }
}

PhysicalScreen::PhysicalScreen(const Kv::Rectangle<int>& frame, const Kv::Rectangle<int>& usableArea,
                               int widthMillimetres)
    : frame_(frame), usableArea_(usableArea), widthMillimetres_(widthMillimetres)
{
}

std::vector<PhysicalScreen> PhysicalScreen::all(Display* display)
{
    std::vector<PhysicalScreen> screens;
    if (!display)
        return screens;
    const Kv::Rectangle<int> usable = workArea(display);
    struct Monitor
    {
        Kv::Rectangle<int> frame;
        int widthMillimetres;
    };
    std::vector<Monitor> monitors;
    int count = 0;
    int eventBase = 0;
    int errorBase = 0;
    if (XRRQueryExtension(display, &eventBase, &errorBase)) {
        if (XRRMonitorInfo* found = XRRGetMonitors(display, DefaultRootWindow(display), True, &count)) {
            for (int i = 0; i < count; ++i) {
                const XRRMonitorInfo& monitor = found[i];
                const Monitor entry{{monitor.x, monitor.y, monitor.x + monitor.width, monitor.y + monitor.height},
                                    monitor.mwidth};
                monitors.insert(monitor.primary ? monitors.begin() : monitors.end(), entry);
            }
            XRRFreeMonitors(found);
        }
    }
    if (monitors.empty()) {
        const int screen = DefaultScreen(display);
        monitors.push_back(
            {{0, 0, DisplayWidth(display, screen), DisplayHeight(display, screen)}, DisplayWidthMM(display, screen)});
    }
    for (const Monitor& monitor : monitors) {
        const Kv::Rectangle<int> inside = monitor.frame.intersection(usable);
        screens.emplace_back(monitor.frame, inside.width() > 0 && inside.height() > 0 ? inside : monitor.frame,
                             monitor.widthMillimetres);
    }
    return screens;
}
