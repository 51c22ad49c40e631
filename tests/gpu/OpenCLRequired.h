#pragma once

#include "OpenGLRequired.h"

// Ends the calling test when OpenCL gives no context: pocl is part of a CI
// machine, as Mesa is, so the test fails there and skips elsewhere.
#define REQUIRE_OPENCL(available)                                                  \
    do {                                                                           \
        if (!(available)) {                                                        \
            if (openGLRequired())                                                  \
                FAIL() << "no OpenCL on CI: no platform or device gave a context"; \
            GTEST_SKIP() << "no OpenCL: no platform or device gave a context";     \
        }                                                                          \
    } while (false)
