#pragma once

#include "iUtils.h"

// The one funnel from a system status to a KvResult: 0 is success, and any
// other status is printed on standard output and is a failure.
KvResult OStoKvErr(int status);
