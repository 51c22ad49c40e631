#include "WindowPosition.h"

WindowPosition::WindowPosition(std::optional<PhysicalScreen> screen, const Kv::Rectangle<int>& frame)
    : screen_(std::move(screen)), frame_(frame)
{
}

WindowPosition WindowPosition::getPositionForWindow(const std::vector<PhysicalScreen>& screens,
                                                    const iRootWindow::InitArgs& args)
{
    if (screens.empty())
        return WindowPosition(std::nullopt, {args.position.x, args.position.y, args.position.x + args.size.x,
                                             args.position.y + args.size.y});
    const PhysicalScreen& primary = screens.front();
    // Positions count from the primary screen's top left.
    const int left = primary.getFrame().left + args.position.x;
    const int top = primary.getFrame().top + args.position.y;
    const int bottom = top + args.size.y;
    for (const PhysicalScreen& screen : screens) {
        const Kv::Rectangle<int>& frame = screen.getFrame();
        // The window's bottom-left corner, counted upwards as the desktop's
        // own coordinates do: the bottom edge belongs to the screen, the top
        // edge does not.
        if (left < frame.left || left >= frame.right || bottom <= frame.top || bottom > frame.bottom)
            continue;
        const Kv::Rectangle<int>& usable = screen.getUsableArea();
        if (args.fullScreen && args.onTop)
            return WindowPosition(screen, frame);
        if (!args.fullScreen && args.size.x > 0 && args.size.x <= usable.width() &&
            args.size.y <= usable.height() && top >= usable.top)
            return WindowPosition(screen, {left, top, left + args.size.x, bottom});
        return WindowPosition(screen, usable);
    }
    return WindowPosition(primary, primary.getUsableArea());
}
