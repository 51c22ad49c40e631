#pragma once

#include "VideoWindowView.h"

// The content view of a root window drawn with OpenGL: a video view that
// takes input like every view and asks its handler to paint whatever the
// server lost or the application asked for. The handler paints through the
// window's back buffer, so the paint event carries no renderer.
class OpenGLWindowView : public VideoWindowView
{
public:
    OpenGLWindowView(unsigned long parent, const Kv::Rectangle<int>& frame);

    // Paints the rectangle later, on the loop, with every other part asked
    // for until then: many requests give one paint of their union.
    void setNeedsDisplayInRect(const Kv::Rectangle<int>& rect);

protected:
    void onExpose(const Kv::Rectangle<int>& rect, int count) override;

private:
    void drawRect();

    Kv::Rectangle<int> dirty_;
    bool drawPosted_ = false;
};
