#pragma once

#include "LightweightString.h"
#include "StdAllocator.h"
#include "iObject.h"

#include <cstdio>
#include <vector>

// The library's status: 1 success, 0 failure.
typedef int KvResult;

// Sixteen bytes, as the system's UUID generator gives them.
struct KvUUID
{
    unsigned char bytes[16];
};

// Text conversions, clocks, identifiers and the log. Every operation may be
// called from any thread.
class KV_API iUtils : public virtual iObject
{
public:
    // Each byte sign-extended to one element: no decoding. narrow(widen(x)) is x.
    virtual LightweightString<wchar_t> widen(const char* text) const = 0;
    // Elements below 256 (signed) become their low byte, others "_".
    virtual LightweightString<char> narrow(const wchar_t* text) const = 0;
    // Null when the text holds a value that is no Unicode scalar.
    virtual LightweightString<char> toUTF8(const LightweightString<wchar_t>& text) const = 0;
    // The library's own lenient decoder. A negative length means strlen; the
    // byte after the last one is read, so the text needs its terminator.
    virtual LightweightString<wchar_t> fromUTF8(const char* text, int length) const = 0;
    // Milliseconds since boot, whole.
    virtual double timeNow() const = 0;
    // Milliseconds since the facade was built.
    virtual double elapsedTime() const = 0;
    // Time since boot in 100 ns units.
    virtual unsigned long long getTimeNano() const = 0;
    virtual KvUUID generateUUID() const = 0;
    virtual int checkAndFixFloatPrecision() const = 0;
    // To the system log, at debug priority.
    virtual void outputDebug(const char* text) const = 0;
    // errno + 31, in the range of the library's results.
    virtual int getLastError() const = 0;
    virtual LightweightString<wchar_t> getSystemErrorString() const = 0;
    // Appends the caller's stack, innermost first, demangled where possible.
    virtual void getStacktrace(std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>& lines) const = 0;
    // One timestamped line per call; a null file is standard output. No newline
    // is added.
    virtual void log(const char* text, FILE* file) const = 0;
    virtual void log(const wchar_t* text, FILE* file) const = 0;
    // Formats into 2048 bytes and logs to standard output; a text that does not
    // fit is dropped whole, never cut.
    virtual void vlog(const char* format, ...) const __attribute__((format(printf, 2, 3))) = 0;
};
