#include "SystemInfo.h"

#include "OpenGLUtils.h"
#include "PhysicalScreen.h"
#include "QtUtils.h"
#include "X11Application.h"
#include "iUtils.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <unistd.h>

namespace
{
    // The kB values of /proc/meminfo that the memory record needs; false when
    // the file or one of them is missing.
    struct KernelMemory
    {
        std::uint64_t totalKB = 0;
        std::uint64_t freeKB = 0;
        std::uint64_t inactiveKB = 0;
        std::uint64_t unevictableKB = 0;

        bool read()
        {
            FILE* file = std::fopen("/proc/meminfo", "r");
            if (!file)
                return false;
            const struct
            {
                const char* key;
                std::uint64_t* value;
            } wanted[] = {{"MemTotal:", &totalKB},
                          {"MemFree:", &freeKB},
                          {"Inactive:", &inactiveKB},
                          {"Unevictable:", &unevictableKB}};
            unsigned found = 0;
            char line[256];
            while (std::fgets(line, sizeof line, file))
                for (const auto& entry : wanted)
                    if (std::strncmp(line, entry.key, std::strlen(entry.key)) == 0) {
                        *entry.value = std::strtoull(line + std::strlen(entry.key), nullptr, 10);
                        ++found;
                    }
            std::fclose(file);
            return found == std::size(wanted);
        }
    };

    // Sizes of this process in pages, from /proc/self/statm.
    struct ProcessPages
    {
        std::uint64_t virtualPages = 0;
        std::uint64_t residentPages = 0;

        void read()
        {
            if (FILE* file = std::fopen("/proc/self/statm", "r")) {
                unsigned long long size = 0;
                unsigned long long resident = 0;
                if (std::fscanf(file, "%llu %llu", &size, &resident) == 2) {
                    virtualPages = size;
                    residentPages = resident;
                }
                std::fclose(file);
            }
        }
    };
}

int SystemInfo::getNumberOfProcessors() const
{
    return int(sysconf(_SC_NPROCESSORS_CONF));
}

std::uint16_t SystemInfo::dotsPerInch(int widthPixels, int widthMillimetres)
{
    const double dpi = widthPixels / (widthMillimetres / 25.4);
    // The conversion of an infinite value is what x86 gives: the lowest
    // integer, whose low 16 bits are 0.
    return std::isfinite(dpi) && std::fabs(dpi) < 9.2e18 ? std::uint16_t(std::int64_t(dpi)) : 0;
}

void SystemInfo::getMonitorInfo(std::vector<MonitorInfo>& monitors) const
{
    X11Application& application = X11Application::instance();
    const std::vector<PhysicalScreen> screens = PhysicalScreen::all(application.display());
    const std::uint16_t count = std::uint16_t(screens.size());
    if (count == 0)
        return;
    const Kv::Rectangle<int> primary = screens.front().getFrame();
    const float scale = float(application.backingScale());
    for (std::uint16_t i = 0; i < count; ++i) {
        const PhysicalScreen& screen = screens[i];
        const Kv::Rectangle<int>& frame = screen.getFrame();
        MonitorInfo monitor;
        // X counts y downward from the root window's top, so turning the
        // frame over to the primary's top left is an offset in both axes.
        monitor.bounds.left = frame.left - primary.left;
        monitor.bounds.top = frame.top - primary.top;
        monitor.bounds.right = monitor.bounds.left + frame.width();
        monitor.bounds.bottom = monitor.bounds.top + frame.height();
        monitor.workArea = monitor.bounds;
        monitor.isPrimary = i == 0;
        monitor.scale = scale;
        monitor.dpi = dotsPerInch(frame.width(), screen.getWidthMillimetres());
        monitors.push_back(monitor);
    }
}

iSystemInfo::MemoryInfo SystemInfo::getMemoryInfo() const
{
    KernelMemory kernel;
    const bool readKernel = kernel.read();
    if (kernel.totalKB == 0)
        std::fputs("getting physical ram size", stderr);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pageSize <= 0)
        std::fputs("Failed to get page size\n", stderr);
    if (!readKernel)
        std::fputs("Failed to get VM statistics.\n", stderr);
    ProcessPages process;
    process.read();

    const std::uint64_t page = pageSize > 0 ? std::uint64_t(pageSize) : 0;
    auto pagesOf = [page](std::uint64_t kilobytes) { return page ? kilobytes * 1024 / page : 0; };
    MemoryInfo info;
    info.words[MemoryInfo::ePhysicalBytes] = kernel.totalKB * 1024;
    // The page counts are added in 32 bits, the bytes made in 64.
    const std::uint32_t freePages = std::uint32_t(pagesOf(kernel.freeKB)) + std::uint32_t(pagesOf(kernel.inactiveKB));
    info.words[MemoryInfo::eFreeBytes] = std::uint64_t(freePages) * page;
    info.words[MemoryInfo::eWiredBytes] = pagesOf(kernel.unevictableKB) * page;
    info.words[MemoryInfo::eResidentBytes] = process.residentPages * page;
    info.words[MemoryInfo::eVirtualBytes] = process.virtualPages * page;
    return info;
}

LightweightString<wchar_t> SystemInfo::getComputerName() const
{
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) == -1)
        return LightweightString<wchar_t>();
    if (char* dot = std::strchr(name, '.'))
        *dot = 0;
    return OS()->utils()->fromUTF8(name, -1);
}

LightweightString<wchar_t> SystemInfo::getOSVersion() const
{
    char version[256];
    QtUtils::getOSVersion(version);
    // The tag before ';' is the system's own and callers split on it: it
    // stays what it is on every host, and the host's version follows.
    std::string text("OSX;");
    text.append(version);
    return OS()->utils()->fromUTF8(text.c_str(), -1);
}

std::vector<iSystemInfo::VideoAdaptor> SystemInfo::getVideoAdaptors() const
{
    VideoAdaptor adaptor;
    adaptor.name = OS()->utils()->fromUTF8(OpenGLUtils::instance().getGraphicsDriverVendor().c_str(), -1);
    adaptor.flags = 1;
    return {adaptor};
}

LightweightString<char> SystemInfo::getOpenGLVersion() const
{
    return OpenGLUtils::instance().getOpenGLVersion();
}

float SystemInfo::getUserUIScale() const
{
    std::vector<MonitorInfo> monitors;
    getMonitorInfo(monitors);
    return userUIScale(monitors);
}

float SystemInfo::userUIScale(const std::vector<MonitorInfo>& monitors)
{
    for (const MonitorInfo& monitor : monitors)
        if (monitor.isPrimary) {
            if (monitor.scale != 2.0f)
                return 1.0f;
            return monitor.dpi < 250 ? 1.75f : 2.0f;
        }
    return 1.0f;
}
