#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

// On CI (CI=true) the setup installs every host service the tests use, so a
// test that finds one missing fails there; elsewhere it skips, saying why.
inline bool onCI()
{
    const char* ci = std::getenv("CI");
    return ci != nullptr && std::strcmp(ci, "true") == 0;
}

// Ends the calling test when the host service is not available.
#define REQUIRE_HOST(available, what)                   \
    do {                                                \
        if (!(available)) {                             \
            if (onCI())                                 \
                FAIL() << (what) << " is missing on CI"; \
            GTEST_SKIP() << (what) << " is missing";    \
        }                                               \
    } while (false)
