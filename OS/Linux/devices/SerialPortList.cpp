#include "SerialPortList.h"

#include <cstdio>
#include <dirent.h>
#include <fstream>
#include <libudev.h>
#include <memory>
#include <sys/stat.h>

namespace
{
    struct UdevRelease
    {
        void operator()(udev* context) const { udev_unref(context); }
        void operator()(udev_enumerate* enumeration) const { udev_enumerate_unref(enumeration); }
        void operator()(udev_device* device) const { udev_device_unref(device); }
    };
    using Udev = std::unique_ptr<udev, UdevRelease>;
    using UdevEnumeration = std::unique_ptr<udev_enumerate, UdevRelease>;
    using UdevDevice = std::unique_ptr<udev_device, UdevRelease>;

    struct FolderRelease
    {
        void operator()(DIR* folder) const { closedir(folder); }
    };
    using Folder = std::unique_ptr<DIR, FolderRelease>;

    bool isCharacterDevice(const std::string& path)
    {
        struct stat status;
        return stat(path.c_str(), &status) == 0 && S_ISCHR(status.st_mode);
    }

    // The node's name under /dev from the kernel's uevent; a name with a
    // "/" in it is spelt with "!" in the class folder.
    std::string nodeOf(const std::string& entryFolder, std::string name)
    {
        std::ifstream uevent(entryFolder + "/uevent");
        for (std::string line; std::getline(uevent, line);)
            if (line.starts_with("DEVNAME="))
                return std::string("/dev/").append(line, 8);
        for (char& letter : name)
            if (letter == '!')
                letter = '/';
        return std::string("/dev/").append(name);
    }
}

std::vector<std::string> SerialPortList::calloutDevices()
{
    std::vector<std::string> paths;
    if (!throughUdev(paths))
        paths = throughSysfs("/sys/class/tty");
    return paths;
}

// The enumeration's two messages are those the port list has always printed.
bool SerialPortList::throughUdev(std::vector<std::string>& paths)
{
    Udev context(udev_new());
    UdevEnumeration enumeration(context ? udev_enumerate_new(context.get()) : nullptr);
    if (!enumeration) {
        std::puts("IOServiceMatching returned a NULL dictionary.");
        return false;
    }
    udev_enumerate_add_match_subsystem(enumeration.get(), "tty");
    if (const int result = udev_enumerate_scan_devices(enumeration.get())) {
        std::printf("IOServiceGetMatchingServices returned %d\n", result);
        return false;
    }
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumeration.get()))
    {
        UdevDevice device(udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
        const char* node = device && udev_device_get_parent(device.get()) ? udev_device_get_devnode(device.get())
                                                                          : nullptr;
        if (node && isCharacterDevice(node))
            paths.push_back(node);
    }
    return true;
}

std::vector<std::string> SerialPortList::throughSysfs(const std::string& classFolder)
{
    std::vector<std::string> paths;
    Folder folder(opendir(classFolder.c_str()));
    if (!folder)
        return paths;
    while (const dirent* item = readdir(folder.get())) {
        const std::string name = item->d_name;
        const std::string entryFolder = classFolder + "/" + name;
        struct stat link;
        if (name.starts_with(".") || lstat((entryFolder + "/device").c_str(), &link) != 0)
            continue;
        const std::string node = nodeOf(entryFolder, name);
        if (isCharacterDevice(node))
            paths.push_back(node);
    }
    return paths;
}
