#pragma once

#include "iWindowManager.h"

// The window manager of the facade. It is built inside the system object, so
// its constructor does nothing: the X connection opens on first use.
class WindowManager : public iWindowManager
{
public:
    // Primes the GL side before any window; later calls return at once.
    void init();

    Kv::Ptr<iRootWindow> createRootWindow(iImageBase::eLocation location) override;
    Kv::Ptr<iVideoWindow> createVideoWindowFullscreen() override;
    Kv::Ptr<iChildVideoWindow> createVideoWindow(const XY<int>& size, const XY<int>& position) override;
    Kv::Ptr<iStatusWindow> createStatusWindow(Kv::Ptr<iStatusWindow::iContents> contents, const XY<int>& size,
                                              const XY<int>& position) override;
    Kv::Ptr<iRegion> createRegion(const iRegion::Rectangles& rectangles) override;
    void getAvailableFonts(FamilyNames& families) const override;
    LightweightString<wchar_t> getDefaultFont() const override;
    LightweightString<wchar_t> getDefaultFixedWidthFont() const override;
    Kv::Ptr<iMouseCursor> createMouseCursor(Kv::Ptr<iHostImage> image, const XY<int>& hotSpot) override;
    Kv::Ptr<iMouseCursor> createMouseCursor(iMouseCursor::eStockCursor stock) override;
    void setMouseCursor(Kv::Ptr<iMouseCursor> cursor) override;
    XY<int> getMousePosition() const override;
    void showMouseCursor(bool show) const override;
    void heartbeat() const override;
    bool isKeyPressed(unsigned int key) const override;
    void startEventLoop() override;
    void reserved1() override;
    void reserved2() override;
    void despatchPendingEvents() override;
    unsigned int getCaps() const override;
    std::vector<iImageBase::eLocation> getSupportedWindowLocations() const override;
    void shutdown() override;

private:
    bool initialised_ = false;
    // The hides not yet shown again: the server refuses a show without one.
    mutable unsigned int cursorHides_ = 0;
};
