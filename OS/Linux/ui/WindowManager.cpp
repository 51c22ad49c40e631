#include "WindowManager.h"

#include "ChildVideoWindow.h"
#include "Events.h"
#include "MouseCursor.h"
#include "OpenGLRootWindow.h"
#include "OpenGLTextureCache.h"
#include "OpenGLUtils.h"
#include "PhysicalScreen.h"
#include "Region.h"
#include "RootWindow.h"
#include "StatusWindow.h"
#include "X11Application.h"
#include "iOperatingSystem.h"
#include "iUtils.h"

#include <pango/pangocairo.h>

// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>
#include <X11/keysym.h>

namespace
{
    // The keys behind each modifier bit, left and right. Caps Lock is not
    // among them.
    struct ModifierKeys
    {
        unsigned int bit;
        unsigned long left;
        unsigned long right;
    };

    constexpr ModifierKeys modifierKeys[] = {
        {Kv::Modifier::Command, XK_Control_L, XK_Control_R},
        {Kv::Modifier::Shift, XK_Shift_L, XK_Shift_R},
        {Kv::Modifier::Control, XK_Super_L, XK_Super_R},
        {Kv::Modifier::Option, XK_Alt_L, XK_Alt_R},
    };
}

void WindowManager::init()
{
    if (initialised_)
        return;
    // OpenGL starts on the display, so that windows can show what it draws.
    if (Display* display = X11Application::instance().display())
        EGLPlatform::useXDisplay(XDisplayString(display));
    if (OpenGLUtils::isAvailable()) {
        OpenGLTextureCache::instance();
        OpenGLUtils::instance().getBlackTexture();
    }
    initialised_ = true;
}

Kv::Ptr<iRootWindow> WindowManager::createRootWindow(iImageBase::eLocation location)
{
    init();
    if (location == iImageBase::eHostMemory)
        return Kv::Ptr<iRootWindow>(new RootWindow);
    return Kv::Ptr<iRootWindow>(new OpenGLRootWindow);
}

Kv::Ptr<iVideoWindow> WindowManager::createVideoWindowFullscreen()
{
    init();
    const std::vector<PhysicalScreen> screens = PhysicalScreen::all(X11Application::instance().display());
    if (screens.empty())
        return {};
    iRootWindow::InitArgs args;
    args.size = XY<int>(screens.front().getFrame().width(), screens.front().getFrame().height());
    args.fullScreen = 1;
    args.onTop = 1;
    args.titleBar = 0;
    const Kv::Ptr<OpenGLRootWindow> window(new OpenGLRootWindow);
    if (!window->realize(args))
        return {};
    return window;
}

// Root windows are always held by a Kv::Ptr, so the one found can be
// counted once more.
Kv::Ptr<iChildVideoWindow> WindowManager::createVideoWindow(const XY<int>& size, const XY<int>& position)
{
    init();
    return Kv::Ptr<iChildVideoWindow>(
        new ChildVideoWindow(Kv::Ptr<iRootWindow>(RootWindowBase::active()), size, position));
}

Kv::Ptr<iStatusWindow> WindowManager::createStatusWindow(Kv::Ptr<iStatusWindow::iContents> contents,
                                                         const XY<int>& size, const XY<int>& position)
{
    init();
    Kv::Ptr<StatusWindow> window(new StatusWindow(std::move(contents), size, position));
    return window->isRealised() ? Kv::Ptr<iStatusWindow>(window) : Kv::Ptr<iStatusWindow>();
}

Kv::Ptr<iRegion> WindowManager::createRegion(const iRegion::Rectangles& rectangles)
{
    return Kv::Ptr<iRegion>(new Region(rectangles));
}

void WindowManager::getAvailableFonts(FamilyNames& families) const
{
    PangoFontMap* fontMap = pango_cairo_font_map_new();
    PangoFontFamily** hostFamilies = nullptr;
    int count = 0;
    pango_font_map_list_families(fontMap, &hostFamilies, &count);
    for (int i = 0; i < count; ++i)
        families.insert(OS()->utils()->fromUTF8(pango_font_family_get_name(hostFamilies[i]), -1));
    g_free(hostFamilies);
    g_object_unref(fontMap);
}

LightweightString<wchar_t> WindowManager::getDefaultFont() const { return L"Tahoma"; }

LightweightString<wchar_t> WindowManager::getDefaultFixedWidthFont() const { return L"Menlo"; }

Kv::Ptr<iMouseCursor> WindowManager::createMouseCursor(Kv::Ptr<iHostImage> image, const XY<int>& hotSpot)
{
    return MouseCursor::create(image, hotSpot);
}

Kv::Ptr<iMouseCursor> WindowManager::createMouseCursor(iMouseCursor::eStockCursor stock)
{
    return MouseCursor::create(stock);
}

void WindowManager::setMouseCursor(Kv::Ptr<iMouseCursor> cursor)
{
    if (cursor)
        cursor->makeCurrent();
}

XY<int> WindowManager::getMousePosition() const
{
    Display* display = X11Application::instance().display();
    if (!display)
        return XY<int>(0, 0);
    const XY<int> pointer = X11Application::instance().pointerIn(DefaultRootWindow(display));
    return XY<int>(pointer.x, DisplayHeight(display, DefaultScreen(display)) - pointer.y);
}

void WindowManager::showMouseCursor(bool show) const
{
    Display* display = X11Application::instance().display();
    if (!display || (show && cursorHides_ == 0))
        return;
    if (show) {
        XFixesShowCursor(display, DefaultRootWindow(display));
        --cursorHides_;
    } else {
        XFixesHideCursor(display, DefaultRootWindow(display));
        ++cursorHides_;
    }
    XFlush(display);
}

void WindowManager::heartbeat() const {}

bool WindowManager::isKeyPressed(unsigned int key) const
{
    const X11Application& application = X11Application::instance();
    for (const ModifierKeys& modifier : modifierKeys)
        if (modifier.bit == key)
            return application.isKeyDown(modifier.left) || application.isKeyDown(modifier.right);
    return false;
}

void WindowManager::startEventLoop() { X11Application::instance().run(); }

void WindowManager::reserved1() {}

void WindowManager::reserved2() {}

void WindowManager::despatchPendingEvents() {}

unsigned int WindowManager::getCaps() const { return 7; }

std::vector<iImageBase::eLocation> WindowManager::getSupportedWindowLocations() const
{
    return {iImageBase::eGPUMemory};
}

// Nothing to take down yet: the process's connection closes at exit.
void WindowManager::shutdown() {}
