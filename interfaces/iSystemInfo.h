#pragma once

#include "KvRectangle.h"
#include "LightweightString.h"
#include "XY.h"
#include "iObject.h"

#include <cstdint>
#include <utility>
#include <vector>

// What the application asks about the machine. Each query asks the system
// afresh; nothing is kept.
class KV_API iSystemInfo : public virtual iObject
{
public:
    struct MonitorInfo
    {
        // Backing pixels, the origin at the primary monitor's top left, y down.
        Kv::Rectangle<std::int32_t> bounds;
        // No panel or dock is taken off: the same as bounds.
        Kv::Rectangle<std::int32_t> workArea;
        bool isPrimary = false;
        // Horizontal pixels per inch.
        std::uint16_t dpi = 0;
        // Never filled.
        LightweightString<wchar_t> name;
        float scale = 1.0f;
    };

    struct VideoAdaptor
    {
        LightweightString<wchar_t> name;
        LightweightString<wchar_t> description;
        XY<int> resolution;
        std::uint16_t flags = 0;
    };

    // Seventeen words, all zero but those named here.
    struct MemoryInfo
    {
        enum eWord
        {
            ePhysicalBytes = 1,
            eFreeBytes = 2,
            eWiredBytes = 3,
            eResidentBytes = 4,
            eVirtualBytes = 9,
            eWordCount = 17,
        };
        std::uint64_t words[eWordCount] = {};
    };

    // The configured processors, online or not.
    virtual int getNumberOfProcessors() const = 0;
    // Appends the monitors, the primary first; none without a display.
    virtual void getMonitorInfo(std::vector<MonitorInfo>& monitors) const = 0;
    virtual MemoryInfo getMemoryInfo() const = 0;
    virtual std::pair<std::uint64_t, std::uint64_t> getStackInfo() const { return {0, 0}; }
    // The short host name, without its domain; empty when there is none.
    virtual LightweightString<wchar_t> getComputerName() const = 0;
    // The host's name and its version, as "<host>;<text>".
    virtual LightweightString<wchar_t> getOSVersion() const = 0;
    // One entry, named after the OpenGL vendor; adaptors are not enumerated.
    virtual std::vector<VideoAdaptor> getVideoAdaptors() const = 0;
    // Null when OpenGL gives none.
    virtual LightweightString<char> getOpenGLVersion() const = 0;
    // 1.75 or 2.0 for a primary monitor at scale 2, by its density; else 1.0.
    virtual float getUserUIScale() const { return 1.0f; }
    virtual LightweightString<wchar_t> getUILanguage() const = 0;
    virtual LightweightString<char> getVariable(const LightweightString<char>&, const LightweightString<char>&,
                                                LightweightString<char>) const
    {
        return LightweightString<char>();
    }
    virtual int getIntegerVariable(const LightweightString<char>&, const LightweightString<char>&,
                                   LightweightString<char>) const
    {
        return -1;
    }
};
