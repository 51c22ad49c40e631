#include "DiskDrive.h"

#include "FileManager.h"
#include "iOperatingSystem.h"
#include "iUtils.h"

#include <cstdio>
#include <sys/statvfs.h>

namespace
{
    constexpr unsigned long long kFallbackSectorSize = 512;

    bool volumeOf(const LightweightString<wchar_t>& path, struct statvfs& volume)
    {
        return statvfs(FileManager::KvtoOS(path).c_str(), &volume) == 0;
    }
}

DiskDrive::DiskDrive(const LightweightString<wchar_t>& name, iDiskDrive::eType driveType)
    : path(name), type(driveType)
{
    if (OS()->fileMgr()->getInfo(name).attributes & iFileManager::eAttrFile)
        path = FileManager::getPath(name);
    id = OS()->utils()->toUTF8(path);
    description = name;
}

void DiskDrive::setDescription(const LightweightString<wchar_t>& text) { description = text; }

LightweightString<wchar_t> DiskDrive::getPath() const { return path; }

iDiskDrive::eType DiskDrive::getType() const { return type; }

// f_bfree, not f_bavail: the blocks kept for the superuser count as free.
unsigned long long DiskDrive::getFreeSpace() const
{
    struct statvfs volume;
    if (!volumeOf(path, volume))
        return 0;
    return static_cast<unsigned long long>(volume.f_frsize) * volume.f_bfree;
}

unsigned long long DiskDrive::getCapacity() const
{
    struct statvfs volume;
    if (!volumeOf(path, volume))
        return 0;
    return static_cast<unsigned long long>(volume.f_frsize) * volume.f_blocks;
}

bool DiskDrive::isPresent() const { return true; }

bool DiskDrive::isVirtual() const { return false; }

bool DiskDrive::isSystemDrive() const { return false; }

LightweightString<wchar_t> DiskDrive::getDescription() const { return description; }

LightweightString<wchar_t> DiskDrive::getFileSystem() const { return LightweightString<wchar_t>(); }

unsigned long long DiskDrive::getSectorSize() const
{
    struct statvfs volume;
    if (!volumeOf(path, volume))
        return kFallbackSectorSize;
    if (volume.f_frsize == 0) {
        std::printf("eek");
        return kFallbackSectorSize;
    }
    return volume.f_frsize;
}

LightweightString<char> DiskDrive::getID() const { return id; }

bool DiskDrive::isMounted() const { return true; }

bool DiskDrive::mount() { return false; }
