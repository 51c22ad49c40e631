#include "OS.h"
#include "OpenGLUtils.h"
#include "SystemInfo.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>

namespace
{
    iSystemInfo* info() { return OS()->systemInfo(); }

    std::string utf8(const LightweightString<wchar_t>& text) { return OS()->utils()->toUTF8(text).c_str(); }

    std::string firstLineOf(const char* path)
    {
        std::ifstream file(path);
        std::string line;
        std::getline(file, line);
        return line;
    }

    // /proc/meminfo in bytes, by key without its colon.
    std::map<std::string, std::uint64_t> kernelMemory()
    {
        std::map<std::string, std::uint64_t> bytes;
        std::ifstream file("/proc/meminfo");
        std::string key;
        std::uint64_t kilobytes = 0;
        std::string line;
        while (std::getline(file, line)) {
            std::istringstream fields(line);
            if (fields >> key >> kilobytes)
                bytes[key.substr(0, key.size() - 1)] = kilobytes * 1024;
        }
        return bytes;
    }

    iSystemInfo::MonitorInfo monitor(bool isPrimary, float scale, std::uint16_t dpi)
    {
        iSystemInfo::MonitorInfo made;
        made.isPrimary = isPrimary;
        made.scale = scale;
        made.dpi = dpi;
        return made;
    }
}

TEST(SystemInfo, MemoryRecordMatchesProc)
{
    std::map<std::string, std::uint64_t> kernel = kernelMemory();
    std::uint64_t pagesVirtual = 0;
    std::uint64_t pagesResident = 0;
    std::ifstream("/proc/self/statm") >> pagesVirtual >> pagesResident;
    const std::uint64_t page = std::uint64_t(sysconf(_SC_PAGESIZE));
    const iSystemInfo::MemoryInfo memory = info()->getMemoryInfo();

    const std::uint64_t megabytes = 1 << 20;
    const struct
    {
        const char* name;
        int word;
        std::uint64_t expected;
        std::uint64_t tolerance;
    } cases[] = {
        {"physical", iSystemInfo::MemoryInfo::ePhysicalBytes, kernel["MemTotal"], 0},
        {"free and inactive", iSystemInfo::MemoryInfo::eFreeBytes, kernel["MemFree"] + kernel["Inactive"],
         256 * megabytes},
        {"wired", iSystemInfo::MemoryInfo::eWiredBytes, kernel["Unevictable"], 64 * megabytes},
        {"resident", iSystemInfo::MemoryInfo::eResidentBytes, pagesResident * page, 16 * megabytes},
        {"virtual", iSystemInfo::MemoryInfo::eVirtualBytes, pagesVirtual * page, 64 * megabytes},
    };
    std::uint64_t namedWords = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::uint64_t got = memory.words[c.word];
        EXPECT_LE(got > c.expected ? got - c.expected : c.expected - got, c.tolerance) << got << " " << c.expected;
        EXPECT_EQ(got % page, 0u);
        namedWords |= 1u << c.word;
    }
    EXPECT_GT(memory.words[iSystemInfo::MemoryInfo::ePhysicalBytes], 0u);
    EXPECT_GT(memory.words[iSystemInfo::MemoryInfo::eResidentBytes], 0u);
    for (int word = 0; word < iSystemInfo::MemoryInfo::eWordCount; ++word)
        EXPECT_TRUE((namedWords & (1u << word)) || memory.words[word] == 0) << "word " << word;
}

TEST(SystemInfo, NamesAndCountsMatchTheKernel)
{
    std::ifstream cpuinfo("/proc/cpuinfo");
    int listed = 0;
    for (std::string line; std::getline(cpuinfo, line);)
        listed += line.rfind("processor", 0) == 0;
    EXPECT_GE(listed, 1);
    EXPECT_GE(info()->getNumberOfProcessors(), listed) << "configured processors include the online ones";

    const std::string hostName = firstLineOf("/proc/sys/kernel/hostname");
    EXPECT_EQ(utf8(info()->getComputerName()), hostName.substr(0, hostName.find('.')));

    const std::string version = utf8(info()->getOSVersion());
    EXPECT_EQ(version.rfind("OSX;", 0), 0u) << version;
    EXPECT_NE(version.find(firstLineOf("/proc/sys/kernel/osrelease")), std::string::npos) << version;
    std::ifstream release("/etc/os-release");
    for (std::string line; std::getline(release, line);)
        if (line.rfind("PRETTY_NAME=", 0) == 0) {
            std::string pretty = line.substr(12);
            if (!pretty.empty() && pretty.front() == '"')
                pretty = pretty.substr(1, pretty.size() - 2);
            EXPECT_NE(version.find(pretty), std::string::npos) << version;
        }
}

TEST(SystemInfo, TheOneVideoAdaptorIsOpenGLs)
{
    const std::vector<iSystemInfo::VideoAdaptor> adaptors = info()->getVideoAdaptors();
    ASSERT_EQ(adaptors.size(), 1u);
    EXPECT_EQ(utf8(adaptors[0].name), std::string(OpenGLUtils::instance().getGraphicsDriverVendor().c_str()));
    EXPECT_EQ(std::string(info()->getOpenGLVersion().c_str()),
              std::string(OpenGLUtils::instance().getOpenGLVersion().c_str()));
}

TEST(SystemInfo, WithoutADisplayThereAreNoMonitors)
{
    // Each test runs in a process of its own, so the X connection is not yet open.
    unsetenv("DISPLAY");
    std::vector<iSystemInfo::MonitorInfo> monitors(1);
    info()->getMonitorInfo(monitors);
    EXPECT_EQ(monitors.size(), 1u) << "nothing appended";
    EXPECT_EQ(info()->getUserUIScale(), 1.0f);
    EXPECT_FALSE(OS()->mediaServices()->grabScreen({640, 480}));
}

TEST(SystemInfo, UserScaleFollowsThePrimaryMonitorsScaleAndDensity)
{
    const struct
    {
        const char* name;
        std::vector<iSystemInfo::MonitorInfo> monitors;
        float expected;
    } cases[] = {
        {"no monitor", {}, 1.0f},
        {"no primary", {monitor(false, 2.0f, 300)}, 1.0f},
        {"scale 1", {monitor(true, 1.0f, 300)}, 1.0f},
        {"scale 2, dpi 249", {monitor(true, 2.0f, 249)}, 1.75f},
        {"scale 2, dpi 250", {monitor(true, 2.0f, 250)}, 2.0f},
        {"scale 3", {monitor(true, 3.0f, 300)}, 1.0f},
        {"the primary decides", {monitor(false, 1.0f, 96), monitor(true, 2.0f, 300)}, 2.0f},
    };
    for (const auto& c : cases)
        EXPECT_EQ(SystemInfo::userUIScale(c.monitors), c.expected) << c.name;
}

TEST(SystemInfo, DotsPerInchUseTheWidthAlone)
{
    const struct
    {
        int pixels;
        int millimetres;
        std::uint16_t expected;
    } cases[] = {
        {1280, 338, 96},     // 96.19, cut
        {2560, 600, 108},    // 108.37
        {70000, 10, 46728},  // 177800, past 16 bits
        {3840, 0, 0},        // a division by zero
    };
    for (const auto& c : cases)
        EXPECT_EQ(SystemInfo::dotsPerInch(c.pixels, c.millimetres), c.expected) << c.pixels << "/" << c.millimetres;
}
