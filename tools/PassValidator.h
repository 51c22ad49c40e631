#pragma once

// epoxy first: it defines the Khronos types itself and guards EGL's copy out.
#include <epoxy/gl.h>

#include <EGL/egl.h>

#include <string>
#include <vector>

// Links effect passes on this machine's OpenGL, so that an effect author sees
// what the driver makes of the GLSL before the editor does. Holds a
// compatibility-profile context on Mesa's surfaceless EGL platform, current on
// the constructing thread; use it from that thread only.
//
// When no display or context can be made, available() is false and
// unavailableReason() says why.
class PassValidator
{
public:
    struct Shader
    {
        bool vertex = false;
        std::string glsl;
    };

    PassValidator();
    ~PassValidator();
    PassValidator(const PassValidator&) = delete;
    PassValidator& operator=(const PassValidator&) = delete;

    bool available() const { return context_ != EGL_NO_CONTEXT; }
    const std::string& unavailableReason() const { return unavailableReason_; }

    // Compiles the pass's shaders and links them into one program; a stage the
    // pass lacks is the fixed-function one. Empty when everything links,
    // otherwise the driver's messages, one a line.
    std::vector<std::string> link(const std::vector<Shader>& shaders);

private:
    EGLDisplay display_ = EGL_NO_DISPLAY;
    EGLContext context_ = EGL_NO_CONTEXT;
    std::string unavailableReason_;
};
