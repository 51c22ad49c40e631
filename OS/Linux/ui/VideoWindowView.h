#pragma once

#include "EGLPlatform.h"
#include "Ptr.h"
#include "XView.h"
#include "iOpenGLContext.h"

// A view that shows frames drawn with OpenGL: a child X window on EGL's
// visual with a window surface, and a context of its own that shares
// textures with every other context of the library. Frames are drawn
// through openGLContext under the GPU lock and shown by its swapBuffers.
//
// Made, moved and destroyed on the loop's thread; the context may be used on
// any thread that holds the GPU lock. Where OpenGL has no windows the view
// is an empty child window and its context does nothing.
class VideoWindowView : public XView
{
public:
    // Takes no input: the parent gets the view's clicks and keys.
    VideoWindowView(unsigned long parent, const Kv::Rectangle<int>& frame);
    ~VideoWindowView() override;

    // A new handle on the view's context: current on the view's surface, and
    // swapBuffers shows the frame. Valid while the view lives.
    Kv::Ptr<iOpenGLContext> openGLContext() const;
    // Whether frames drawn here reach the screen.
    bool hasSurface() const { return surface_ != EGL_NO_SURFACE; }

protected:
    VideoWindowView(unsigned long parent, const Kv::Rectangle<int>& frame, long eventMask);

    // Projection and viewport over the frame as it stands.
    void reshape();
    void onResize() override { reshape(); }

private:
    void prepareOpenGL();

    EGLContext context_ = EGL_NO_CONTEXT;
    EGLSurface surface_ = EGL_NO_SURFACE;
};
