#include "VideoWindowView.h"

#include "CriticalSectionLock.h"
#include "GLContext.h"
#include "OpenGLContextProtector.h"
#include "OpenGLSharedContext.h"
#include "OpenGLUtils.h"

// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>

namespace
{
    // A view's context bound to its surface; the view owns both.
    class ViewContext : public GLContext
    {
    public:
        ViewContext(EGLContext context, EGLSurface surface) : GLContext(context), surface_(surface) {}

        bool makeCurrent() override
        {
            if (context_ != EGL_NO_CONTEXT)
                eglMakeCurrent(EGLPlatform::instance().display(), surface_, surface_, context_);
            return true;
        }

        void swapBuffers() override
        {
            if (surface_ == EGL_NO_SURFACE)
                return;
            eglSwapBuffers(EGLPlatform::instance().display(), surface_);
            // A software driver puts the frame on EGL's own connection and may
            // leave it in the buffer there.
            XFlush(EGLPlatform::instance().nativeDisplay());
        }

    private:
        EGLSurface surface_;
    };
}

VideoWindowView::VideoWindowView(unsigned long parent, const Kv::Rectangle<int>& frame)
    : VideoWindowView(parent, frame, 0)
{
}

VideoWindowView::VideoWindowView(unsigned long parent, const Kv::Rectangle<int>& frame, long eventMask)
    : XView(parent, frame, eventMask, EGLPlatform::instance().windowVisual(), EGLPlatform::instance().windowDepth())
{
    const EGLPlatform& platform = EGLPlatform::instance();
    if (window() == 0 || !platform.hasWindows() || !OpenGLUtils::isAvailable())
        return;
    // EGL reaches the window on a connection of its own: the server must
    // know it first.
    XSync(display(), False);
    surface_ = platform.createWindowSurface(window());
    if (surface_ == EGL_NO_SURFACE)
        return;
    context_ = platform.createContext(OpenGLUtils::getSharedContext().context());
    prepareOpenGL();
    reshape();
}

// The surface goes before the X window that it draws into. EGL defers the
// release of whatever another thread still has current.
VideoWindowView::~VideoWindowView()
{
    if (surface_ == EGL_NO_SURFACE)
        return;
    const CriticalSectionLock gpuLock(OpenGLUtils::instance().getLock());
    const EGLDisplay display = EGLPlatform::instance().display();
    if (context_ != EGL_NO_CONTEXT)
        eglDestroyContext(display, context_);
    eglDestroySurface(display, surface_);
}

Kv::Ptr<iOpenGLContext> VideoWindowView::openGLContext() const
{
    return Kv::Ptr<iOpenGLContext>(new ViewContext(context_, surface_));
}

void VideoWindowView::prepareOpenGL()
{
    ViewContext context(context_, surface_);
    const OpenGLContextProtector protector(context, false);
    // Swaps wait for the display.
    eglSwapInterval(EGLPlatform::instance().display(), 1);
    OpenGLUtils::prepareDrawingState();
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
}

// An X window's pixels are its backing pixels: the viewport is the frame.
void VideoWindowView::reshape()
{
    if (surface_ == EGL_NO_SURFACE)
        return;
    ViewContext context(context_, surface_);
    const OpenGLContextProtector protector(context, false);
    const XY<int> size = this->size();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, size.x, 0, size.y, -1, 1);
    glViewport(0, 0, size.x, size.y);
}
