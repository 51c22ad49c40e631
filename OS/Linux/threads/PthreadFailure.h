#pragma once

#include <source_location>

// Reports a failed pthread call on standard output, flushed, as
// "<source path>(<line>) : a pthread call failed (<code>)".
void reportPthreadFailure(int code, std::source_location where = std::source_location::current());

// Reports the failure, then throws std::runtime_error with the message: for
// constructors and Mutex::release.
[[noreturn]] void throwPthreadFailure(int code, const char* message,
                                      std::source_location where = std::source_location::current());

// Reports a non-zero result and says whether there was one.
bool pthreadFailed(int code, std::source_location where = std::source_location::current());
