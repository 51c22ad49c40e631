// Placeholder until the input branch lands: paints only, no input.
#include "EventRedirector.h"
#include "Region.h"
void EventRedirector::setHandler(const Kv::Ptr<iEventHandler>& handler) { handler_ = handler; }
uint32_t EventRedirector::getMouseState(unsigned int) { return 0; }
void EventRedirector::drawRect(const Kv::Ptr<iGraphicPrimitivesRenderer>& renderer, const Kv::Rectangle<int>& rect)
{
    drawRegion(renderer, Kv::Ptr<iRegion>(new Region(rect)));
}
void EventRedirector::drawRegion(const Kv::Ptr<iGraphicPrimitivesRenderer>& renderer, const Kv::Ptr<iRegion>& region)
{
    if (!handler_) return;
    PaintEvent e; e.renderer = renderer; e.region = region; handler_->handlePaintEvent(e);
}
void EventRedirector::dispatch(const XEvent&) {}
void EventRedirector::handleKeyEvent(const XEvent&, KeyEvent::eType) {}
void EventRedirector::keyEvent(const KeyEvent&) {}
void EventRedirector::handleDragDropEvent(const FileDragDropEvent&) {}
