#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

// On CI (CI=true) Mesa is part of the machine, so a test that finds no OpenGL
// fails there; elsewhere it skips, saying why.
inline bool openGLRequired()
{
    const char* ci = std::getenv("CI");
    return ci != nullptr && std::strcmp(ci, "true") == 0;
}

// Ends the calling test when OpenGL cannot be had.
#define REQUIRE_OPENGL(available, reason)                         \
    do {                                                          \
        if (!(available)) {                                       \
            if (openGLRequired())                                 \
                FAIL() << "no OpenGL on CI: " << (reason);        \
            GTEST_SKIP() << "no OpenGL: " << (reason);            \
        }                                                         \
    } while (false)
