#include "OpenGLContextProtector.h"

#include "EGLPlatform.h"
#include "OpenGLContextStack.h"
#include "OpenGLUtils.h"

OpenGLContextProtector::OpenGLContextProtector(iOpenGLContext& context, bool)
{
    if (OpenGLUtils::isInitialised())
        OpenGLUtils::instance().getLock()->lock();
    OpenGLContextStack::instance().push(&context);
}

OpenGLContextProtector::OpenGLContextProtector()
{
    // While the utilities are being made nothing is locked or pushed: their
    // constructor makes the shared context current by hand.
    if (!OpenGLUtils::isInitialised() && !OpenGLUtils::start())
        return;
    OpenGLUtils::instance().getLock()->lock();
    if (EGLPlatform::anyContextCurrent())
        OpenGLContextStack::instance().push(nullptr);
    else
        OpenGLContextStack::instance().push(OpenGLUtils::instance().getRenderContext());
}

OpenGLContextProtector::~OpenGLContextProtector()
{
    OpenGLContextStack::instance().pop();
    if (OpenGLUtils::isInitialised())
        OpenGLUtils::instance().getLock()->unlock();
}
