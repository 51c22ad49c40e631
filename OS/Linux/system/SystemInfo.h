#pragma once

#include "iSystemInfo.h"

// The machine's description, reached through OS()->systemInfo(). It is built
// with the facade, so its constructor does nothing. Monitors come from the
// process's X connection, memory from /proc.
class SystemInfo : public iSystemInfo
{
public:
    int getNumberOfProcessors() const override;
    void getMonitorInfo(std::vector<MonitorInfo>& monitors) const override;
    // Reports on standard error what it cannot read, and fills in the rest.
    MemoryInfo getMemoryInfo() const override;
    LightweightString<wchar_t> getComputerName() const override;
    LightweightString<wchar_t> getOSVersion() const override;
    // The vendor needs OpenGL, which then starts.
    std::vector<VideoAdaptor> getVideoAdaptors() const override;
    LightweightString<char> getOpenGLVersion() const override;
    float getUserUIScale() const override;
    LightweightString<wchar_t> getUILanguage() const override { return LightweightString<wchar_t>(); }

    // The scale rule on a given list of monitors.
    static float userUIScale(const std::vector<MonitorInfo>& monitors);
    // Pixels per inch from a width in pixels and in millimetres, cut to 16 bits;
    // a width of 0 millimetres gives a meaningless number.
    static std::uint16_t dotsPerInch(int widthPixels, int widthMillimetres);
};
