#pragma once

#include "../devices/HardwareManager.h"
#include "../devices/MIDI.h"
#include "../files/FileManager.h"
#include "../graphics/ImageManager.h"
#include "../gpu/MediaServices.h"
#include "../system/Cryptography.h"
#include "../system/ProcessManager.h"
#include "../system/Shell.h"
#include "../system/SystemInfo.h"
#include "../threads/ThreadManager.h"
#include "../ui/WindowManager.h"
#include "MemoryManager.h"
#include "OsHeap.h"
#include "ThreadAtomics.h"
#include "Utils.h"
#include "iOperatingSystem.h"

// The system object: every manager lives inside it, by value, for the life of
// the process. Members are built in declared order while OS() holds its
// one-time guard, so no member's constructor may call OS(), allocate through
// operator new, or touch a Kv::Ptr or a string: their real work waits for
// first use.
class LinuxOS : public iOperatingSystem
{
public:
    LinuxOS();

    iHeap* heap() override;
    iMemoryManager* memMgr() override;
    iUtils* utils() override;
    iFileManager* fileMgr() override;
    iThreadManager* threadMgr() override;
    iThreadAtomics* threadAtomics() override;
    iProcessManager* processMgr() override;
    iWindowManager* windowMgr() override;
    iSystemInfo* systemInfo() override;
    iHardwareManager* hardwareMgr() override;
    iMediaServices* mediaServices() override;
    iImageManager* imageManager() override;
    iShell* shell() override;
    iMIDI* midi() override;
    iCryptography* cryptography() override;

private:
    FileManager fileManager_;
    MemoryManager memoryManager_;
    Kv::OsHeap heap_;
    Utils utils_;
    ThreadManager threadManager_;
    ThreadAtomics threadAtomics_;
    // This host has no autorelease pools: the member stands empty.
    [[maybe_unused]] void* autoreleasePool_ = nullptr;
    WindowManager windowManager_;
    SystemInfo systemInfo_;
    ProcessManager processManager_;
    Shell shell_;
    MediaServices mediaServices_;
    ImageManager imageManager_;
    HardwareManager hardwareManager_;
    MIDI midi_;
    // Last: its constructor hands OpenSSL the heap above.
    Cryptography cryptography_;
};
