#pragma once

#include "LightweightString.h"
#include "StdAllocator.h"
#include "iObject.h"

#include <vector>

// The call stack of the thread that builds it: at most 25 frames.
class Stacktrace : public iObject
{
public:
    using Lines = std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>;

    Stacktrace();
    ~Stacktrace() override;

    Stacktrace(const Stacktrace&) = delete;
    Stacktrace& operator=(const Stacktrace&) = delete;

    // Appends one line per frame, innermost first, leaving out the two frames
    // of the capture itself. A symbol is demangled where it can be; otherwise
    // the system's raw line stands.
    void getPrintableStrings(Lines& lines) const;

    // The same for the caller's own stack.
    static void get(Lines& lines);

private:
    char** symbols;      // from backtrace_symbols; ours to free
    unsigned char depth; // frames captured
};
