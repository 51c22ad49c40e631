#pragma once

#include "LightweightString.h"

#include <vector>

// The volumes mounted right now, read through libmount from the kernel's
// mount table, with what libudev and /sys/block tell of the device behind
// each. The drive list is built from it; it decides nothing about lists.
class LibmountVolumeTable
{
public:
    enum eBusClass
    {
        eInternalBus,
        eExternalBus, // an external bus, or a removable device
        eNoBus,       // network file systems and those that a program serves
    };

    struct Volume
    {
        LightweightString<char> mountPoint; // as the table has it: no trailing "/" but for the root
        LightweightString<char> label;      // the file system label, else the mount point's last component
        eBusClass bus = eInternalBus;
        bool hidden = false; // pseudo and system file systems: never a drive
    };

    // Reads the table now, the kernel's or the one in the mountinfo file
    // given; an unreadable table gives no volumes.
    explicit LibmountVolumeTable(const char* mountInfo = nullptr);

    // In mount order; of mounts stacked on one folder only the topmost.
    const std::vector<Volume>& volumes() const;

private:
    void add(const Volume& volume);
    // Each share that GVfs serves under its one FUSE mount is a volume.
    void addGvfsShares(const char* gvfsFolder);

    std::vector<Volume> mounted;
};
