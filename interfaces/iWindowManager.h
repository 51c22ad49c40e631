#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "XY.h"
#include "iHostImage.h"
#include "iImageBase.h"
#include "iMouseCursor.h"
#include "iRegion.h"
#include "iRootWindow.h"
#include "iStatusWindow.h"
#include "iVideoWindow.h"

#include <set>
#include <vector>

// The factory of everything on screen and the owner of the main loop. Every
// operation belongs on the main thread.
class KV_API iWindowManager
{
public:
    // Font family names compare without regard to case, as fontconfig's do.
    struct FamilyNameLess
    {
        bool operator()(const LightweightString<wchar_t>& a, const LightweightString<wchar_t>& b) const
        {
            return Kv::TextOps::compareNoCase(a.c_str(), b.c_str()) < 0;
        }
    };
    using FamilyNames = std::set<LightweightString<wchar_t>, FamilyNameLess>;

    virtual ~iWindowManager() = default;

    // An unrealised window: host memory gives one drawn with the 2D
    // renderer, any other location one drawn with OpenGL.
    virtual Kv::Ptr<iRootWindow> createRootWindow(iImageBase::eLocation location) = 0;
    // A video window covering the primary screen, above everything else.
    virtual Kv::Ptr<iVideoWindow> createVideoWindowFullscreen() = 0;
    // A video window inside the root window that has the keyboard, or else
    // the one realised last, in its backing pixels. With no root window it
    // is made but never shown.
    virtual Kv::Ptr<iChildVideoWindow> createVideoWindow(const XY<int>& size, const XY<int>& position) = 0;
    // Shown at once; null without a display.
    virtual Kv::Ptr<iStatusWindow> createStatusWindow(Kv::Ptr<iStatusWindow::iContents> contents,
                                                      const XY<int>& size, const XY<int>& position) = 0;
    virtual Kv::Ptr<iRegion> createRegion(const iRegion::Rectangles& rectangles) = 0;
    // Adds every installed family; what the set held stays.
    virtual void getAvailableFonts(FamilyNames& families) const = 0;
    // Not checked against the installed fonts: a missing family falls back
    // when the font is made.
    virtual LightweightString<wchar_t> getDefaultFont() const = 0;
    virtual LightweightString<wchar_t> getDefaultFixedWidthFont() const = 0;
    // The hot spot is in the image's logical pixels. Without a usable image
    // the cursor is the arrow.
    virtual Kv::Ptr<iMouseCursor> createMouseCursor(Kv::Ptr<iHostImage> image, const XY<int>& hotSpot) = 0;
    virtual Kv::Ptr<iMouseCursor> createMouseCursor(iMouseCursor::eStockCursor stock) = 0;
    // A null cursor changes nothing.
    virtual void setMouseCursor(Kv::Ptr<iMouseCursor> cursor) = 0;
    // Unlike every position in an event, y counts upwards from the bottom of
    // the default screen. (0, 0) without a display.
    virtual XY<int> getMousePosition() const = 0;
    // Hiding nests: each hide needs its show, and a show with none pending
    // does nothing.
    virtual void showMouseCursor(bool show) const = 0;
    virtual void heartbeat() const = 0;
    // True while the modifier key with that Kv::Modifier bit is held; Caps
    // Lock is no Shift here. Any other key is false.
    virtual bool isKeyPressed(unsigned int key) const = 0;
    // Runs the main loop until it is stopped or the display goes away. Without
    // a display it returns at once.
    virtual void startEventLoop() = 0;
    virtual void reserved1() = 0;
    virtual void reserved2() = 0;
    virtual void despatchPendingEvents() = 0;
    virtual unsigned int getCaps() const = 0;
    virtual std::vector<iImageBase::eLocation> getSupportedWindowLocations() const = 0;
    virtual void shutdown() = 0;
};
