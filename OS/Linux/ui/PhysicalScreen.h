#pragma once

#include "KvRectangle.h"

#include <vector>

typedef struct _XDisplay Display;

// One monitor as windows are placed on it: its frame and the part of it that
// panels and docks leave free, both in X pixels of the root window.
class PhysicalScreen
{
public:
    PhysicalScreen(const Kv::Rectangle<int>& frame, const Kv::Rectangle<int>& usableArea,
                   int widthMillimetres = 0);

    const Kv::Rectangle<int>& getFrame() const { return frame_; }
    const Kv::Rectangle<int>& getUsableArea() const { return usableArea_; }
    // As the server reports it; 0 where it does not know.
    int getWidthMillimetres() const { return widthMillimetres_; }

    // The XRandR monitors, the primary first; the whole root window where
    // XRandR gives none. Empty without a display.
    static std::vector<PhysicalScreen> all(Display* display);

private:
    Kv::Rectangle<int> frame_;
    Kv::Rectangle<int> usableArea_;
    int widthMillimetres_;
};
