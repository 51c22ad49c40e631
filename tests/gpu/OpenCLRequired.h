#pragma once

#include "../HostRequired.h"

// Ends the calling test when OpenCL gives no context: pocl is part of a CI
// machine, as Mesa is.
#define REQUIRE_OPENCL(available) REQUIRE_HOST(available, "OpenCL (no platform or device gave a context)")
