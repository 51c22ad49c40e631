#include "Utils.h"

#include "Stacktrace.h"
#include "iFileManager.h"
#include "iOperatingSystem.h"

#include <cerrno>
#include <cstdarg>
#include <ctime>
#include <cwchar>
#include <glib.h>
#include <syslog.h>
#include <uuid/uuid.h>

namespace
{
    unsigned long long nanosecondsSinceBoot()
    {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<unsigned long long>(now.tv_sec) * 1000000000ull + static_cast<unsigned long long>(now.tv_nsec);
    }

    // Whether log lines carry the full date: decided once per process, from
    // the application's name.
    bool appWantsFullDate()
    {
        return OS()->fileMgr()->getAppName().startsWith(L"reelTale", false);
    }

    struct LogTime
    {
        tm local;
        int milliseconds;
    };

    LogTime logTime()
    {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        LogTime result;
        localtime_r(&now.tv_sec, &result.local);
        result.milliseconds = int(now.tv_nsec / 1000000);
        return result;
    }

    // One print call per line, so that lines from several threads do not mix.
    void writeLogLine(FILE* file, bool fullDate, const char* text)
    {
        const LogTime now = logTime();
        const tm& t = now.local;
        if (!file)
            file = stdout;
        if (fullDate)
            std::fprintf(file, "%d-%02d-%02d %02d:%02d:%02d.%03d: %s", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                         t.tm_hour, t.tm_min, t.tm_sec, now.milliseconds, text);
        else
            std::fprintf(file, "%02d:%02d:%02d.%03d: %s", t.tm_hour, t.tm_min, t.tm_sec, now.milliseconds, text);
    }

    bool isContinuation(unsigned char byte) { return byte >= 0x80 && byte <= 0xBF; }

    // A Unicode scalar value: no surrogate, nothing above 0x10FFFF, nothing negative.
    bool isCharacter(wchar_t element)
    {
        const auto value = static_cast<unsigned>(element);
        return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
    }
}

Utils::Utils() : startTime(timeNow()) {}

// Deliberately no decoder: bytes of 0x80 and above become negative elements.
LightweightString<wchar_t> Utils::widen(const char* text) const
{
    LightweightString<wchar_t> result;
    if (!text)
        return result;
    result.resizeFor(unsigned(std::strlen(text)));
    for (unsigned i = 0; i < result.size(); ++i)
        result[i] = wchar_t(static_cast<signed char>(text[i]));
    return result;
}

// Negative elements come back as the bytes they were made from.
LightweightString<char> Utils::narrow(const wchar_t* text) const
{
    LightweightString<char> result;
    if (!text)
        return result;
    result.resizeFor(unsigned(std::wcslen(text)));
    for (unsigned i = 0; i < result.size(); ++i)
        result[i] = text[i] < 256 ? char(text[i]) : '_';
    return result;
}

LightweightString<char> Utils::toUTF8(const LightweightString<wchar_t>& text) const
{
    if (text.empty())
        return LightweightString<char>();
    // GLib encodes values up to 0x7FFFFFFF; the host's strings take characters only.
    for (unsigned i = 0; i < text.size(); ++i)
        if (!isCharacter(text[i]))
            return LightweightString<char>();
    glong written = 0;
    gchar* utf8 = g_ucs4_to_utf8(reinterpret_cast<const gunichar*>(text.c_str()), text.size(), nullptr, &written, nullptr);
    if (!utf8)
        return LightweightString<char>();
    LightweightString<char> result(utf8, unsigned(written));
    g_free(utf8);
    return result;
}

// Lenient on purpose: no validation beyond dropping values above 0x10FFFF. A
// stray continuation byte extends whatever the accumulator held.
LightweightString<wchar_t> Utils::fromUTF8(const char* text, int length) const
{
    LightweightString<wchar_t> result;
    if (!text || length == 0 || text[0] == 0)
        return result;
    if (length < 0)
        length = int(std::strlen(text));
    result.reserve(unsigned(length));
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    unsigned value = 0;
    for (int i = 0; i < length; ++i) {
        const unsigned char byte = bytes[i];
        if (byte < 0x80)
            value = byte;
        else if (byte >= 0xC0)
            value = byte & (byte <= 0xDF ? 0x1F : byte <= 0xEF ? 0x0F : 0x07);
        else
            value = (value << 6) + (byte & 0x3F);
        // Looks one byte ahead, at the terminator after the last byte.
        if (!isContinuation(bytes[i + 1]) && value <= 0x10FFFF)
            result.push_back(wchar_t(value));
    }
    return result;
}

double Utils::timeNow() const { return double(nanosecondsSinceBoot() / 1000000); }

double Utils::elapsedTime() const { return timeNow() - startTime; }

// In 100 ns units, despite the name.
unsigned long long Utils::getTimeNano() const { return nanosecondsSinceBoot() / 100; }

KvUUID Utils::generateUUID() const
{
    KvUUID uuid = {};
    uuid_generate(uuid.bytes);
    return uuid;
}

int Utils::checkAndFixFloatPrecision() const { return 0; }

void Utils::outputDebug(const char* text) const { syslog(LOG_DEBUG, "%s", text); }

int Utils::getLastError() const { return errno + 31; }

LightweightString<wchar_t> Utils::getSystemErrorString() const { return LightweightString<wchar_t>(); }

void Utils::getStacktrace(std::vector<LightweightString<char>, StdAllocator<LightweightString<char>>>& lines) const
{
    Stacktrace trace;
    trace.getPrintableStrings(lines);
}

void Utils::log(const char* text, FILE* file) const
{
    static const bool fullDate = appWantsFullDate();
    writeLogLine(file, fullDate, text);
}

void Utils::log(const wchar_t* text, FILE* file) const
{
    static const bool fullDate = appWantsFullDate();
    // A stream takes the orientation of its first write and then refuses the
    // other kind: wide text goes out as UTF-8, so both kinds share a stream.
    writeLogLine(file, fullDate, toUTF8(LightweightString<wchar_t>(text)).c_str());
}

// A line that does not fit is dropped, not cut: a cut log line is not logged.
void Utils::vlog(const char* format, ...) const
{
    char line[2048];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (length >= 1 && length <= 2047)
        log(line, nullptr);
}

LightweightString<char> Utils::CFStringFromWString(const LightweightString<wchar_t>& text)
{
    return OS()->utils()->toUTF8(text);
}

LightweightString<char> Utils::CFStringFromString(const std::string& text) { return LightweightString<char>(text.c_str()); }
