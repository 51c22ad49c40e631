#pragma once

// The default arguments give the caller's file and line. They are the
// compilers' built-ins rather than std::source_location, which clang 14 does
// not provide with GCC's standard library.

// Reports a failed pthread call on standard output, flushed, as
// "<source path>(<line>) : a pthread call failed (<code>)".
void reportPthreadFailure(int code, const char* file = __builtin_FILE(), unsigned line = __builtin_LINE());

// Reports the failure, then throws std::runtime_error with the message: for
// constructors and Mutex::release.
[[noreturn]] void throwPthreadFailure(int code, const char* message, const char* file = __builtin_FILE(),
                                      unsigned line = __builtin_LINE());

// Reports a non-zero result and says whether there was one.
bool pthreadFailed(int code, const char* file = __builtin_FILE(), unsigned line = __builtin_LINE());
