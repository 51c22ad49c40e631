#include "LinuxOS.h"

#include <clocale>
#include <cstdlib>
#include <new>
#include <pthread.h>

LinuxOS::LinuxOS()
{
    // Numbers in the library never follow the user's locale.
    setlocale(LC_NUMERIC, "C");
    // Whichever thread calls OS() first gets the name, main thread or not.
    pthread_setname_np(pthread_self(), "Main thread");
}

iHeap* LinuxOS::heap() { return &heap_; }

iMemoryManager* LinuxOS::memMgr() { return &memoryManager_; }

iUtils* LinuxOS::utils() { return &utils_; }

iFileManager* LinuxOS::fileMgr() { return &fileManager_; }

iThreadManager* LinuxOS::threadMgr() { return &threadManager_; }

iThreadAtomics* LinuxOS::threadAtomics() { return &threadAtomics_; }

iProcessManager* LinuxOS::processMgr() { return &processManager_; }

iWindowManager* LinuxOS::windowMgr() { return &windowManager_; }

iSystemInfo* LinuxOS::systemInfo() { return &systemInfo_; }

iHardwareManager* LinuxOS::hardwareMgr() { return &hardwareManager_; }

iMediaServices* LinuxOS::mediaServices() { return &mediaServices_; }

iImageManager* LinuxOS::imageManager() { return &imageManager_; }

iShell* LinuxOS::shell() { return &shell_; }

iMIDI* LinuxOS::midi() { return &midi_; }

iCryptography* LinuxOS::cryptography() { return &cryptography_; }

namespace
{
    // From malloc, because operator new itself calls OS(). Never freed.
    LinuxOS* buildSystem()
    {
        return new (std::malloc(sizeof(LinuxOS))) LinuxOS;
    }
}

// The function-local static is the one-time guard: a constructor that throws
// leaves it open, and the next call tries again. After the first call this is
// a test of the guard byte and a load.
iOperatingSystem* OS()
{
    static LinuxOS* const system = buildSystem();
    return system;
}
