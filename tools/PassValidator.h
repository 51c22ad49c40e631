#pragma once

#include "SurfacelessContext.h"

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

    bool available() const { return context_.available(); }
    const std::string& unavailableReason() const { return context_.unavailableReason(); }

    // Compiles the pass's shaders and links them into one program; a stage the
    // pass lacks is the fixed-function one. Empty when everything links,
    // otherwise the driver's messages, one a line.
    std::vector<std::string> link(const std::vector<Shader>& shaders);

private:
    SurfacelessContext context_;
};
