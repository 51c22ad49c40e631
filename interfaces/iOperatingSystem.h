#pragma once

#include "KvExport.h"

class iHeap;
class iMemoryManager;
class iUtils;
class iFileManager;
class iThreadManager;
class iThreadAtomics;
class iProcessManager;
class iSystemInfo;
class iHardwareManager;
class iWindowManager;
class iImageManager;
class iShell;
class iMIDI;
class iMediaServices;
class iCryptography;

// The one system object. It owns every manager of the library for the life of
// the process; each accessor is a pointer into it and never fails.
class KV_API iOperatingSystem
{
public:
    virtual ~iOperatingSystem() = default;

    virtual iHeap* heap() = 0;
    virtual iMemoryManager* memMgr() = 0;
    virtual iUtils* utils() = 0;
    virtual iFileManager* fileMgr() = 0;
    virtual iThreadManager* threadMgr() = 0;
    virtual iThreadAtomics* threadAtomics() = 0;
    virtual iProcessManager* processMgr() = 0;
    virtual iWindowManager* windowMgr() = 0;
    virtual iSystemInfo* systemInfo() = 0;
    virtual iHardwareManager* hardwareMgr() = 0;
    virtual iMediaServices* mediaServices() = 0;
    virtual iImageManager* imageManager() = 0;
    virtual iShell* shell() = 0;
    virtual iMIDI* midi() = 0;
    virtual iCryptography* cryptography() = 0;
};

// The library's only entry. The first call builds the system object and is
// thread-safe; every later call is a test and a load. The thread that makes
// the very first call is named "Main thread".
KV_API iOperatingSystem* OS();
