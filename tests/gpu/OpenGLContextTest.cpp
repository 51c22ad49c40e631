#include "CriticalSectionLock.h"
#include "EGLPlatform.h"
#include "GPUImage.h"
#include "OpenGLContextProtector.h"
#include "OpenGLContextStack.h"
#include "OpenGLRequired.h"
#include "OpenGLUtils.h"
#include "OpenGLSharedContext.h"

#include <gtest/gtest.h>

#include <string>

#define REQUIRE_GPU() REQUIRE_OPENGL(OpenGLUtils::isAvailable(), EGLPlatform::instance().unavailableReason())

namespace
{
    EGLContext renderContextOfThisThread()
    {
        return static_cast<GLContext*>(OpenGLUtils::instance().getRenderContext())->context();
    }
}

TEST(OpenGLContext, StackMakesCurrentOnceAndClearsWhenTheLastEntryGoes)
{
    REQUIRE_GPU();
    const CriticalSectionLock gpuLock(OpenGLUtils::instance().getLock());
    iOpenGLContext* context = OpenGLUtils::instance().getRenderContext();
    OpenGLContextStack& stack = OpenGLContextStack::instance();
    stack.push(context);
    EXPECT_EQ(eglGetCurrentContext(), renderContextOfThisThread());
    stack.push(context);
    stack.pop();
    EXPECT_EQ(eglGetCurrentContext(), renderContextOfThisThread()) << "popping the inner push keeps it";
    stack.pop();
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
    stack.pop(); // an empty stack's pop is harmless
}

TEST(OpenGLContext, DefaultProtectorLeavesAForeignContextAndCleansUpItsOwn)
{
    REQUIRE_GPU();
    {
        const OpenGLContextProtector protector;
        EXPECT_EQ(eglGetCurrentContext(), renderContextOfThisThread());
    }
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "a thread with none is left with none";

    // A view's context current when the protector begins stays current throughout.
    const EGLContext foreign = EGLPlatform::instance().createContext(OpenGLUtils::getSharedContext().context());
    ASSERT_NE(foreign, EGL_NO_CONTEXT);
    const EGLDisplay display = EGLPlatform::instance().display();
    eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, foreign);
    {
        const OpenGLContextProtector protector;
        EXPECT_EQ(eglGetCurrentContext(), foreign);
    }
    EXPECT_EQ(eglGetCurrentContext(), foreign);
    eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroyContext(display, foreign);
}

TEST(OpenGLContext, LimitsAndFormatsOfTheDriver)
{
    REQUIRE_GPU();
    const int limit = OpenGLUtils::getMaxTextureSize().x;
    ASSERT_GT(limit, 0);
    EXPECT_EQ(OpenGLUtils::getMaxTextureSize().y, limit);
    EXPECT_GE(OpenGLUtils::getNumTextureUnits(), 8);
    const struct
    {
        XY<int> size;
        bool possible;
    } sizes[] = {{{limit, limit}, true}, {{limit + 1, 1}, false}, {{1, limit + 1}, false},
                 {{0, 5}, false},        {{5, 0}, false},          {{-4, 4}, true}};
    for (const auto& size : sizes)
        EXPECT_EQ(OpenGLUtils::isTextureSizePossible(size.size), size.possible) << size.size.x << "x" << size.size.y;

    {
        const OpenGLContextProtector protector;
        OpenGL::checkForErrors(); // a stale error would fail the formats' one test
    }
    for (const iGPUImage::eFormat format :
         {iGPUImage::eBGRA8, iGPUImage::eRGBA16, iGPUImage::eRGBA16F, iGPUImage::eRGBA32F, iGPUImage::eRGB10A2})
        EXPECT_TRUE(OpenGLUtils::isSupported(format)) << format;
    EXPECT_FALSE(OpenGLUtils::isSupported(iGPUImage::eAlpha8)) << "never entered, though images can hold it";

    EXPECT_FALSE(OpenGLUtils::instance().getGraphicsDriverVendor().empty());
    EXPECT_NE(std::string(OpenGLUtils::instance().getOpenGLVersion().c_str()).find("Compatibility"),
              std::string::npos);
}

TEST(OpenGLContext, RenderTargetsNestWithoutRebindingAndDetachAtTheEnd)
{
    REQUIRE_GPU();
    const Kv::Ptr<iOpenGLImage> target(new GPUImage(iGPUImage::StorageT{XY<int>(16, 8), iGPUImage::eBGRA8}));
    const OpenGLContextProtector protector;
    OpenGLUtils& utils = OpenGLUtils::instance();
    GLint viewport[4] = {};
    utils.pushRenderTarget(target);
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 16);
    EXPECT_EQ(viewport[3], 8);
    glViewport(1, 1, 2, 2);
    utils.pushRenderTarget(target);
    utils.popRenderTarget();
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 2) << "the same target nested is not set again";
    utils.popRenderTarget();
    GLint attached = -1;
    GLint bound = 0;
    glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT,
                                             GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT, &attached);
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &bound);
    EXPECT_EQ(attached, 0);
    EXPECT_NE(bound, 0) << "the one framebuffer stays bound";
}

TEST(OpenGLContext, ErrorsAreLoggedOnceAndDrainedAndTheStateIsDumped)
{
    REQUIRE_GPU();
    const OpenGLContextProtector protector;
    OpenGL::checkForErrors();
    for (int error = 0; error < 3; ++error)
        glEnable(GL_RGBA); // not a capability
    testing::internal::CaptureStdout();
    OpenGL::checkForErrors();
    const std::string logged = testing::internal::GetCapturedStdout();
    EXPECT_NE(logged.find("GL Error: 1280\n"), std::string::npos);
    EXPECT_EQ(logged.find("GL Error", logged.find("GL Error") + 1), std::string::npos) << logged;
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    testing::internal::CaptureStdout();
    OpenGLUtils::instance().dumpState();
    const std::string dump = testing::internal::GetCapturedStdout();
    EXPECT_NE(dump.find("GL State ---------------------------------\n"), std::string::npos);
    EXPECT_NE(dump.find("GL_TEXTURE_2D\n"), std::string::npos) << "render contexts texture every unit";
}
