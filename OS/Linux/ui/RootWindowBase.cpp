#include "RootWindowBase.h"

#include "Font.h"
#include "LauncherProgress.h"
#include "Timer.h"
#include "iOperatingSystem.h"
#include "iUtils.h"

#include <algorithm>

namespace
{
    std::vector<RootWindowBase*>& realisedWindows()
    {
        static std::vector<RootWindowBase*> windows;
        return windows;
    }
}

RootWindowBase::RootWindowBase() = default;

RootWindowBase::~RootWindowBase() { std::erase(realisedWindows(), this); }

RootWindowBase* RootWindowBase::active()
{
    const std::vector<RootWindowBase*>& windows = realisedWindows();
    for (RootWindowBase* window : windows)
        if (window->window_->hasFocus())
            return window;
    return windows.empty() ? nullptr : windows.back();
}

XY<int> RootWindowBase::getSize() const { return view_ ? view_->size() : size_; }

bool RootWindowBase::realize(const InitArgs& args)
{
    X11Application& application = X11Application::instance();
    Display* display = application.display();
    if (!display || window_) {
        OS()->utils()->vlog(window_ ? "A root window is realised once\n" : "Cannot make a window without an X display\n");
        return false;
    }
    const WindowPosition position = WindowPosition::getPositionForWindow(PhysicalScreen::all(display), args);
    window_ = std::make_unique<RootWindowImpl>(position.frame(), args);
    cachedWindow_ = window_->window();
    window_->setTitle(OS()->utils()->toUTF8(args.title));
    const Kv::Rectangle<int> content = window_->contentFrame();
    view_ = createView({0, 0, content.width(), content.height()});
    window_->setKeyboardView(view_.get());
    window_->onContentResize([this](const XY<int>& size) { view_->setFrame({0, 0, size.x, size.y}); });
    scale_ = application.backingScale();
    setEventHandler(args.handler);
    window_->setSizeLimits(args.minSize, args.maxSize);
    realisedWindows().push_back(this);
    if (handler_) {
        WindowEvent event;
        event.type = 3;
        handler_->handleWindowEvent(event);
        event.type = 7;
        handler_->handleWindowEvent(event);
    }
    enforceWindowPosition(position);
    window_->show(args.takeFocus != 0);
    return true;
}

// The window manager may not push the window's top above the usable area.
void RootWindowBase::enforceWindowPosition(const WindowPosition& position)
{
    const Kv::Rectangle<int>& frame = position.frame();
    const int usableTop = position.screen() ? position.screen()->getUsableArea().top : frame.top;
    window_->moveTo(XY<int>(frame.left, std::max(frame.top, usableTop)));
}

XY<int> RootWindowBase::getPosition() const
{
    if (!window_)
        return XY<int>(0, 0);
    const Kv::Rectangle<int> frame = window_->outerFrame();
    const std::vector<PhysicalScreen> screens = PhysicalScreen::all(X11Application::instance().display());
    if (screens.empty())
        return XY<int>(frame.left, frame.top);
    // y from the top of the screen the window is on, x from the primary's left.
    int screenTop = screens.front().getFrame().top;
    for (const PhysicalScreen& screen : screens) {
        const Kv::Rectangle<int>& bounds = screen.getFrame();
        if (frame.left >= bounds.left && frame.left < bounds.right && frame.top >= bounds.top &&
            frame.top < bounds.bottom) {
            screenTop = bounds.top;
            break;
        }
    }
    return XY<int>(frame.left - screens.front().getFrame().left, frame.top - screenTop);
}

Kv::Rectangle<int> RootWindowBase::getUserArea() const
{
    return view_ ? view_->frame() : Kv::Rectangle<int>{};
}

bool RootWindowBase::isTitleBarEnabled() const { return window_ && window_->hasTitleBar(); }

bool RootWindowBase::isMinimised() const { return window_ && window_->isMinimised(); }

bool RootWindowBase::isMaximised() const { return window_ && window_->isMaximised(); }

bool RootWindowBase::isEnabled() const { return enabled_; }

bool RootWindowBase::hasFocus() const { return window_ && window_->hasFocus(); }

int RootWindowBase::getID() const { return 0; }

bool RootWindowBase::containsMouse() const { return view_ && view_->containsPointer(); }

unsigned int RootWindowBase::getScale() const { return scale_; }

void RootWindowBase::enableTitleBar(bool) {}

void RootWindowBase::setEnabled(bool enable) { enabled_ = enable; }

void RootWindowBase::postUserMessage()
{
    if (const unsigned long window = cachedWindow_.load())
        RootWindowImpl::postUserMessage(window);
}

void RootWindowBase::setTitle(const LightweightString<wchar_t>& title)
{
    if (window_)
        window_->setTitle(OS()->utils()->toUTF8(title));
}

void RootWindowBase::minimise()
{
    if (window_)
        window_->minimise();
}

void RootWindowBase::claimFocus()
{
    if (window_)
        window_->claimFocus();
}

void RootWindowBase::setEventHandler(Kv::Ptr<iEventHandler> handler)
{
    handler_ = handler;
    if (window_)
        window_->setHandler(handler);
    if (view_)
        view_->redirector().setHandler(handler);
}

void RootWindowBase::reserved1() {}

Kv::Ptr<iTimer> RootWindowBase::createTimer(unsigned int periodMs)
{
    return Kv::Ptr<iTimer>(new Timer(periodMs, handler_));
}

Kv::Ptr<iFont> RootWindowBase::createFont(const LightweightString<wchar_t>& family, unsigned int size,
                                          unsigned int style)
{
    return Kv::Ptr<iFont>(new Font(family, size, style, 0));
}

void RootWindowBase::showProgress(float value) { LauncherProgress::instance().show(value); }

void RootWindowBase::reserved2() {}

void RootWindowBase::reserved3() {}

void RootWindowBase::setIMEEnabled(bool enabled)
{
    if (view_)
        view_->textInput().setEnabled(enabled);
}
