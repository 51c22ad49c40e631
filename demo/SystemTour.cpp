#include "SystemTour.h"

#include "OS.h"

#include <cstdio>

namespace
{
    const char* utf8(const LightweightString<wchar_t>& text, LightweightString<char>& holder)
    {
        holder = OS()->utils()->toUTF8(text);
        return holder.c_str() ? holder.c_str() : "";
    }

    void showMachine()
    {
        iSystemInfo* info = OS()->systemInfo();
        LightweightString<char> name;
        LightweightString<char> version;
        std::printf("kvdemo: %s runs %s on %d processors\n", utf8(info->getComputerName(), name),
                    utf8(info->getOSVersion(), version), info->getNumberOfProcessors());
        const iSystemInfo::MemoryInfo memory = info->getMemoryInfo();
        constexpr double MiB = 1024.0 * 1024.0;
        std::printf("kvdemo: memory %.0f MiB, %.0f MiB free; this process holds %.1f MiB\n",
                    double(memory.words[iSystemInfo::MemoryInfo::ePhysicalBytes]) / MiB,
                    double(memory.words[iSystemInfo::MemoryInfo::eFreeBytes]) / MiB,
                    double(memory.words[iSystemInfo::MemoryInfo::eResidentBytes]) / MiB);
        std::vector<iSystemInfo::MonitorInfo> monitors;
        info->getMonitorInfo(monitors);
        if (monitors.empty())
            std::printf("kvdemo: no monitors: no display is open\n");
        for (const iSystemInfo::MonitorInfo& monitor : monitors)
            std::printf("kvdemo: monitor %dx%d at %d,%d, %u dpi, scale %.2f%s\n", monitor.bounds.width(),
                        monitor.bounds.height(), monitor.bounds.left, monitor.bounds.top, unsigned(monitor.dpi),
                        double(monitor.scale), monitor.isPrimary ? ", primary" : "");
    }

    void showProcesses()
    {
        iProcessManager* processes = OS()->processMgr();
        const Kv::Ptr<iProcess> self = processes->getCurrentProcess();
        LightweightString<char> name;
        std::printf("kvdemo: %zu processes of this user; this one is %s, id %d\n",
                    processes->getRunningProcesses().size(), self ? utf8(self->getName(), name) : "?",
                    processes->getCurrentProcessID());
        const Kv::Ptr<iObject> first = processes->createMultiInstanceProcessGuard("kvdemo");
        const Kv::Ptr<iObject> second = processes->createMultiInstanceProcessGuard("kvdemo");
        LightweightString<char> folder;
        std::printf("kvdemo: the single-instance guard in \"%s\": first %s, second %s\n",
                    utf8(OS()->shell()->getFolderLocation(iShell::eDocuments), folder),
                    first ? "taken" : "refused (the folder cannot hold it)", second ? "taken" : "refused");
    }

    // Only where a window can open: the box waits for an answer.
    void showDesktop()
    {
        const Kv::Ptr<iHostImage> screen = OS()->mediaServices()->grabScreen(XY<int>(0, 0));
        if (!screen)
            return;
        const bool saved = OS()->imageManager()->saveImage(screen, L"kvdemo-screen.png", 0);
        std::printf("kvdemo: the screen, %dx%d, %s kvdemo-screen.png\n", screen->getSize().x, screen->getSize().y,
                    saved ? "saved as" : "could not be saved as");
        const int answer = OS()->shell()->messageBox(L"kvdemo", L"The system tour is over. Go on to the next?",
                                                     iShell::eYesNo, iShell::eQuestion);
        std::printf("kvdemo: the message box answered %s\n", answer == iShell::eResultYes  ? "yes"
                                                              : answer == iShell::eResultNo ? "no"
                                                                                            : "nothing");
    }
}

void systemTour()
{
    std::printf("\nkvdemo: the system\n");
    showMachine();
    showProcesses();
    showDesktop();
    fflush(stdout);
}
