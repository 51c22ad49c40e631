#include "LibmountVolumeTable.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <libmount/libmount.h>
#include <libudev.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace
{
    struct TableRelease
    {
        void operator()(libmnt_table* table) const { mnt_unref_table(table); }
    };
    struct IterRelease
    {
        void operator()(libmnt_iter* iter) const { mnt_free_iter(iter); }
    };
    struct UdevRelease
    {
        void operator()(udev* context) const { udev_unref(context); }
    };
    struct UdevDeviceRelease
    {
        void operator()(udev_device* device) const { udev_device_unref(device); }
    };
    using MountTable = std::unique_ptr<libmnt_table, TableRelease>;
    using MountIter = std::unique_ptr<libmnt_iter, IterRelease>;
    using Udev = std::unique_ptr<udev, UdevRelease>;
    using UdevDevice = std::unique_ptr<udev_device, UdevDeviceRelease>;

    bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words)
    {
        return std::find(words.begin(), words.end(), word) != words.end();
    }

    // The kernel's own interfaces, and read-only images (snaps) that are parts
    // of the system, never the user's storage.
    bool isSystemType(std::string_view type)
    {
        return isOneOf(type, {"proc", "sysfs", "devtmpfs", "devpts", "cgroup", "cgroup2", "cpuset", "securityfs",
                              "debugfs", "tracefs", "mqueue", "hugetlbfs", "configfs", "fusectl", "bpf", "pstore",
                              "autofs", "binfmt_misc", "efivarfs", "rpc_pipefs", "nfsd", "nsfs", "selinuxfs",
                              "smackfs", "apparmorfs", "rootfs", "squashfs", "fuse.lxcfs", "fuse.portal"});
    }

    bool isNetworkType(std::string_view type)
    {
        return isOneOf(type, {"nfs", "nfs4", "cifs", "smbfs", "smb3", "afs", "ceph", "glusterfs", "9p", "davfs",
                              "sshfs", "fuse.sshfs", "fuse.rclone"});
    }

    bool isAtOrUnder(std::string_view path, std::string_view folder)
    {
        return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
    }

    // /run holds the system's runtime state, except /run/media, where udisks
    // mounts the user's media on some distributions.
    bool isInSystemFolder(std::string_view mountPoint)
    {
        for (std::string_view folder : {"/proc", "/sys", "/dev", "/boot", "/snap"})
            if (isAtOrUnder(mountPoint, folder))
                return true;
        // Scratch space, often a tmpfs of its own.
        if (mountPoint == "/tmp" || mountPoint == "/var/tmp")
            return true;
        return isAtOrUnder(mountPoint, "/run") && !isAtOrUnder(mountPoint, "/run/media");
    }

    // Containers bind single files (/etc/hosts) over others: no volume.
    bool isFileBinding(const char* mountPoint)
    {
        struct stat status;
        return stat(mountPoint, &status) == 0 && !S_ISDIR(status.st_mode);
    }

    const char* propertyOf(udev_device* device, const char* name)
    {
        const char* value = udev_device_get_property_value(device, name);
        return value && *value ? value : nullptr;
    }

    // The block device behind a mount, 0 when there is none. btrfs reports an
    // anonymous device number in the table, so a /dev source counts first.
    dev_t blockDeviceOf(libmnt_fs* fs)
    {
        const char* source = mnt_fs_get_srcpath(fs);
        struct stat status;
        if (source && std::strncmp(source, "/dev/", 5) == 0 && stat(source, &status) == 0 && S_ISBLK(status.st_mode))
            return status.st_rdev;
        const dev_t number = mnt_fs_get_devno(fs);
        return major(number) != 0 ? number : 0;
    }

    // udev's bus name first; then whatever carries the disk, where a usb (or
    // firewire) device anywhere above it makes it external, since usb disks
    // sit under scsi devices too, as does a card reader's card; last the
    // disk's own removable flag.
    LibmountVolumeTable::eBusClass busOfDevice(udev_device* device)
    {
        if (const char* bus = propertyOf(device, "ID_BUS")) {
            if (std::strcmp(bus, "usb") == 0)
                return LibmountVolumeTable::eExternalBus;
            if (isOneOf(bus, {"ata", "nvme", "scsi", "virtio"}))
                return LibmountVolumeTable::eInternalBus;
        }
        bool internal = false;
        for (udev_device* parent = udev_device_get_parent(device); parent; parent = udev_device_get_parent(parent)) {
            const char* subsystem = udev_device_get_subsystem(parent);
            if (!subsystem)
                continue;
            // SD and memory-stick cards come out of their readers.
            if (isOneOf(subsystem, {"usb", "firewire", "mmc", "memstick"}))
                return LibmountVolumeTable::eExternalBus;
            internal = internal || isOneOf(subsystem, {"ata", "ata_port", "nvme", "scsi", "virtio"});
        }
        if (internal)
            return LibmountVolumeTable::eInternalBus;
        // /sys/block/<disk>/removable, for the disk that holds a partition.
        udev_device* disk = udev_device_get_parent_with_subsystem_devtype(device, "block", "disk");
        const char* removable = udev_device_get_sysattr_value(disk ? disk : device, "removable");
        return removable && std::strcmp(removable, "1") == 0 ? LibmountVolumeTable::eExternalBus
                                                             : LibmountVolumeTable::eInternalBus;
    }

    // udev escapes unsafe characters of the label as \xNN; the plain
    // ID_FS_LABEL has them replaced, so it only stands in.
    LightweightString<char> labelOfDevice(udev_device* device)
    {
        if (const char* encoded = propertyOf(device, "ID_FS_LABEL_ENC")) {
            std::string label;
            for (const char* at = encoded; *at; ++at) {
                if (at[0] == '\\' && at[1] == 'x' && std::isxdigit(static_cast<unsigned char>(at[2])) &&
                    std::isxdigit(static_cast<unsigned char>(at[3]))) {
                    label.push_back(char(std::strtol(std::string(at + 2, 2).c_str(), nullptr, 16)));
                    at += 3;
                } else {
                    label.push_back(*at);
                }
            }
            return LightweightString<char>(label.c_str());
        }
        return LightweightString<char>(propertyOf(device, "ID_FS_LABEL"));
    }

    // The root has no last component: it is labelled "/".
    LightweightString<char> lastComponent(const char* mountPoint)
    {
        const char* slash = std::strrchr(mountPoint, '/');
        return LightweightString<char>(slash && slash[1] ? slash + 1 : mountPoint);
    }

    LibmountVolumeTable::Volume describe(libmnt_fs* fs, udev* context)
    {
        LibmountVolumeTable::Volume volume;
        const char* target = mnt_fs_get_target(fs);
        const char* typeName = mnt_fs_get_fstype(fs);
        const std::string_view type = typeName ? typeName : "";
        volume.mountPoint = LightweightString<char>(target);

        if (isNetworkType(type)) {
            // Network mounts stay visible wherever they are: GVfs mounts in /run/user.
            volume.bus = LibmountVolumeTable::eNoBus;
            volume.label = lastComponent(target);
            return volume;
        }
        volume.hidden = isSystemType(type) || isInSystemFolder(target) || isFileBinding(target);

        const dev_t number = blockDeviceOf(fs);
        UdevDevice device(number && context ? udev_device_new_from_devnum(context, 'b', number) : nullptr);
        if (device) {
            volume.bus = busOfDevice(device.get());
            volume.label = labelOfDevice(device.get());
        } else if (number == 0 && type.starts_with("fuse")) {
            // A FUSE file system with no disk behind it is served by a program,
            // most often from somewhere else.
            volume.bus = LibmountVolumeTable::eNoBus;
        } else {
            // tmpfs, ramfs, overlay and the like live in this machine's memory
            // or on its disks; so does a disk that udev cannot describe.
            volume.bus = LibmountVolumeTable::eInternalBus;
        }
        if (volume.label.empty())
            volume.label = lastComponent(target);
        return volume;
    }
}

LibmountVolumeTable::LibmountVolumeTable(const char* mountInfo)
{
    MountTable table(mnt_new_table());
    MountIter iter(mnt_new_iter(MNT_ITER_FORWARD));
    if (!table || !iter)
        return;
    if ((mountInfo ? mnt_table_parse_file(table.get(), mountInfo) : mnt_table_parse_mtab(table.get(), nullptr)) != 0)
        return;
    // Without udev every disk counts as internal and is named after its folder.
    Udev context(udev_new());
    libmnt_fs* fs = nullptr;
    while (mnt_table_next_fs(table.get(), iter.get(), &fs) == 0) {
        const char* target = mnt_fs_get_target(fs);
        if (!target)
            continue;
        const char* type = mnt_fs_get_fstype(fs);
        if (type && std::strcmp(type, "fuse.gvfsd-fuse") == 0)
            addGvfsShares(target);
        else
            add(describe(fs, context.get()));
    }
}

void LibmountVolumeTable::add(const Volume& volume)
{
    // A later mount on the same folder covers the earlier one.
    std::erase_if(mounted, [&](const Volume& earlier) { return earlier.mountPoint == volume.mountPoint; });
    mounted.push_back(volume);
}

// The folders are named after what they serve, "smb-share:server=nas,share=media":
// the share, else the server, else the folder, names the volume.
void LibmountVolumeTable::addGvfsShares(const char* gvfsFolder)
{
    std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(gvfsFolder), closedir);
    if (!folder)
        return;
    while (const dirent* entry = readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        std::string label(name);
        for (const std::string_view key : {"server=", "share="}) {
            const std::size_t at = name.find(key);
            if (at != std::string_view::npos)
                label = std::string(name.substr(at + key.size(), name.find(',', at) - at - key.size()));
        }
        Volume volume;
        volume.mountPoint = LightweightString<char>((std::string(gvfsFolder) + "/").append(name).c_str());
        volume.label = LightweightString<char>(label.c_str());
        volume.bus = eNoBus;
        add(volume);
    }
}

const std::vector<LibmountVolumeTable::Volume>& LibmountVolumeTable::volumes() const { return mounted; }
