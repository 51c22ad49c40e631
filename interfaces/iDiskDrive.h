#pragma once

#include "LightweightString.h"
#include "iObject.h"

// One entry of the file manager's drive list: a root folder with its "/", a
// label and the space on the volume that holds it. Nothing is checked when
// the drive is made: the space queries ask the system each time and give 0
// (512 for the sector size) when the path is gone.
class KV_API iDiskDrive : public virtual iObject
{
public:
    // Selects a list from iFileManager::getDiskDrives; any other value selects
    // nothing. Every listed drive reports eInternalDrive from getType.
    enum eType
    {
        eInternalDrive = 1,
        eRemovableDrive = 2, // removable, or on an external bus
        eNetworkDrive = 3,   // on neither bus, and the cloud folders
    };

    virtual LightweightString<wchar_t> getPath() const = 0;
    virtual eType getType() const = 0;
    // Bytes free, counting those kept for the superuser.
    virtual unsigned long long getFreeSpace() const = 0;
    virtual unsigned long long getCapacity() const = 0;
    virtual bool isPresent() const = 0;
    virtual bool isVirtual() const = 0;
    virtual bool isSystemDrive() const = 0;
    virtual LightweightString<wchar_t> getDescription() const = 0;
    virtual LightweightString<wchar_t> getFileSystem() const = 0;
    virtual unsigned long long getSectorSize() const = 0;
    // The path in UTF-8: what iFileManager::openDriveByID looks for.
    virtual LightweightString<char> getID() const = 0;
    virtual bool isMounted() const = 0;
    virtual bool mount() = 0;
};
