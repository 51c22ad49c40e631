#pragma once

#include "../HostRequired.h"

#include <string>

// Ends the calling test when OpenGL cannot be had, saying why.
#define REQUIRE_OPENGL(available, reason) REQUIRE_HOST(available, "OpenGL (" + std::string(reason) + ")")
