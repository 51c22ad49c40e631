#include "Stacktrace.h"

#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <execinfo.h>

namespace
{
    constexpr int kMaxFrames = 25;
    constexpr unsigned kCaptureFrames = 2;
}

// Not inlined, so that the frames to skip are always the same two.
__attribute__((noinline)) Stacktrace::Stacktrace()
{
    void* frames[kMaxFrames];
    const int captured = backtrace(frames, kMaxFrames);
    depth = static_cast<unsigned char>(captured);
    symbols = backtrace_symbols(frames, captured);
}

Stacktrace::~Stacktrace() { std::free(symbols); }

void Stacktrace::getPrintableStrings(Lines& lines) const
{
    if (depth <= kCaptureFrames || !symbols)
        return;
    for (unsigned i = kCaptureFrames; i < depth; ++i) {
        const char* line = symbols[i];
        char name[128];
        // "binary(_Zsymbol+0x12) [0x...]": from the first "_" after "(" up to ")" or "+".
        if (std::sscanf(line, "%*[^(]%*[^_]%127[^)+]", name) == 1) {
            size_t length = 0;
            int status = 0;
            char* demangled = abi::__cxa_demangle(name, nullptr, &length, &status);
            lines.push_back(LightweightString<char>(demangled ? demangled : line));
            std::free(demangled);
        } else {
            lines.push_back(LightweightString<char>(line));
        }
    }
}

__attribute__((noinline)) void Stacktrace::get(Lines& lines)
{
    Stacktrace trace;
    trace.getPrintableStrings(lines);
}
