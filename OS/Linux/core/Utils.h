#pragma once

#include "iUtils.h"

#include <string>

// Text conversions, clocks, identifiers and the log, reached through OS()->utils().
class Utils : public iUtils
{
public:
    Utils();

    LightweightString<wchar_t> widen(const char* text) const override;
    LightweightString<char> narrow(const wchar_t* text) const override;
    LightweightString<char> toUTF8(const LightweightString<wchar_t>& text) const override;
    LightweightString<wchar_t> fromUTF8(const char* text, int length) const override;
    double timeNow() const override;
    double elapsedTime() const override;
    unsigned long long getTimeNano() const override;
    KvUUID generateUUID() const override;
    int checkAndFixFloatPrecision() const override;
    void outputDebug(const char* text) const override;
    int getLastError() const override;
    LightweightString<wchar_t> getSystemErrorString() const override;
    void getStacktrace(std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>& lines) const override;
    void log(const char* text, FILE* file) const override;
    void log(const wchar_t* text, FILE* file) const override;
    void vlog(const char* format, ...) const override __attribute__((format(printf, 2, 3)));

    // The host's string for a name: its UTF-8 bytes, empty text where the name
    // does not convert.
    static LightweightString<char> CFStringFromWString(const LightweightString<wchar_t>& text);
    static LightweightString<char> CFStringFromString(const std::string& text);

private:
    // Sampled when the facade is built.
    double startTime;
};
