#pragma once

#include <functional>

// Runs the process's main loop until done answers true, checking it every
// few milliseconds; false when the time ran out first.
bool runLoopUntil(const std::function<bool()>& done, int timeoutMs = 5000);
// Runs the process's main loop for that long.
void runLoopFor(int ms);
