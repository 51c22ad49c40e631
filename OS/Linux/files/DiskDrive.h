#pragma once

#include "iDiskDrive.h"

// A drive as the file manager hands it out: a value fixed at construction but
// for its label. No locks: nothing changes it once it is shared.
class DiskDrive : public iDiskDrive
{
public:
    // A name that is a file gives a drive on the file's folder. The name,
    // whole, is the first label.
    DiskDrive(const LightweightString<wchar_t>& name, iDiskDrive::eType type);

    // Only before the drive is shared.
    void setDescription(const LightweightString<wchar_t>& description);

    LightweightString<wchar_t> getPath() const override;
    eType getType() const override;
    unsigned long long getFreeSpace() const override;
    unsigned long long getCapacity() const override;
    bool isPresent() const override;
    bool isVirtual() const override;
    bool isSystemDrive() const override;
    LightweightString<wchar_t> getDescription() const override;
    LightweightString<wchar_t> getFileSystem() const override;
    // Prints "eek" when the system reports a block size of 0.
    unsigned long long getSectorSize() const override;
    LightweightString<char> getID() const override;
    bool isMounted() const override;
    bool mount() override;

private:
    LightweightString<wchar_t> path;
    LightweightString<wchar_t> description;
    LightweightString<char> id;
    iDiskDrive::eType type;
};
