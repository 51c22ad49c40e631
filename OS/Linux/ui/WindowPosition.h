#pragma once

#include "PhysicalScreen.h"
#include "iRootWindow.h"

#include <optional>
#include <vector>

// Where a new root window goes: a screen and a frame on it, in X pixels.
class WindowPosition
{
public:
    WindowPosition(std::optional<PhysicalScreen> screen, const Kv::Rectangle<int>& frame);

    // On the screen that holds the window's bottom-left corner, the primary
    // otherwise: exactly where asked if it fits below the top of the usable
    // area, else filling the usable area, or the whole screen for a
    // full-screen window on top. Without screens, where asked.
    static WindowPosition getPositionForWindow(const std::vector<PhysicalScreen>& screens,
                                               const iRootWindow::InitArgs& args);

    const std::optional<PhysicalScreen>& screen() const { return screen_; }
    const Kv::Rectangle<int>& frame() const { return frame_; }

private:
    std::optional<PhysicalScreen> screen_;
    Kv::Rectangle<int> frame_;
};
