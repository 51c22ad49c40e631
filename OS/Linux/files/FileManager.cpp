#include "FileManager.h"

#include "DiskDrive.h"
#include "DynDLL.h"
#include "File.h"
#include "FileTimes.h"
#include "GioFile.h"
#include "IOCompletionPort.h"
#include "LibmountVolumeTable.h"
#include "Watchable.h"
#include "iOperatingSystem.h"
#include "iShell.h"
#include "iSystemInfo.h"
#include "iUtils.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <gio/gio.h>
#include <glib.h>
#include <pwd.h>
#include <span>
#include <string>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace
{
    constexpr size_t kPathBuffer = 256;
    constexpr unsigned kCopyChunk = 0x8000;
    constexpr mode_t kOwnerWrite = 0x80;
    constexpr mode_t kOwnerExecute = 0x40;

    // The executable's path in a zeroed buffer of 256 bytes. A longer path is
    // cut to fit, and the size that it needs is returned; 0 when it fits.
    unsigned readExecutablePath(char (&buffer)[kPathBuffer])
    {
        std::memset(buffer, 0, kPathBuffer);
        std::vector<char> full(kPathBuffer);
        ssize_t length;
        while ((length = readlink("/proc/self/exe", full.data(), full.size())) == ssize_t(full.size()))
            full.resize(full.size() * 2);
        if (length < 0)
            return 0;
        std::memcpy(buffer, full.data(), std::min<size_t>(size_t(length), kPathBuffer - 1));
        return size_t(length) < kPathBuffer ? 0 : unsigned(length + 1);
    }

    unsigned long long ticks(time_t seconds) { return static_cast<unsigned long long>(seconds) * FileTimes::kTicksPerSecond; }

    bool isFolderEntry(unsigned char type) { return type == DT_DIR || type == DT_LNK; }
    bool isPlainEntry(unsigned char type) { return type == DT_REG || type == DT_CHR; }

    // An application bundle: a folder of at least five characters ending ".app".
    bool isBundle(const char* name)
    {
        const size_t length = std::strlen(name);
        return length >= 5 && std::strcmp(name + length - 4, ".app") == 0;
    }

    // Like the C library's tempnam in the system's temporary folder: up to five
    // characters of the prefix, then six random ones, naming nothing yet there.
    // A name of either form as a GIO file, for those that GIO must reach.
    GFile* gioFileOf(const LightweightString<char>& host)
    {
        return FileManager::isURI(host) ? g_file_new_for_uri(host.c_str()) : g_file_new_for_path(host.c_str());
    }

    // The same URI, or the same device and inode, whatever the names say.
    bool sameFile(const LightweightString<char>& first, const LightweightString<char>& second)
    {
        GFile* one = gioFileOf(first);
        GFile* other = gioFileOf(second);
        bool same = g_file_equal(one, other);
        gchar* onePath = g_file_get_path(one);
        gchar* otherPath = g_file_get_path(other);
        struct stat oneStatus;
        struct stat otherStatus;
        if (!same && onePath && otherPath && stat(onePath, &oneStatus) == 0 && stat(otherPath, &otherStatus) == 0)
            same = oneStatus.st_dev == otherStatus.st_dev && oneStatus.st_ino == otherStatus.st_ino;
        g_free(onePath);
        g_free(otherPath);
        g_object_unref(one);
        g_object_unref(other);
        return same;
    }

    // As tempnam(NULL, prefix) picks its names: in TMPDIR where that is a
    // folder we may write to, else /tmp; at most five letters of the prefix,
    // "file" for none.
    LightweightString<char> freshTempName(const LightweightString<char>& prefix)
    {
        static const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
        const char* folder = std::getenv("TMPDIR");
        struct stat status;
        if (!folder || stat(folder, &status) != 0 || !S_ISDIR(status.st_mode) || access(folder, W_OK | X_OK) != 0)
            folder = "/tmp";
        const std::size_t end = std::strlen(folder);
        const char* separator = end && folder[end - 1] == '/' ? "" : "/";
        const char* start = prefix.empty() ? "file" : prefix.c_str();
        std::string name;
        do {
            char suffix[7] = {};
            for (char& letter : std::span(suffix, 6))
                letter = kLetters[g_random_int_range(0, sizeof kLetters - 1)];
            name.assign(folder).append(separator).append(start, strnlen(start, 5)).append(suffix);
        } while (lstat(name.c_str(), &status) == 0);
        return LightweightString<char>(name.c_str());
    }
}

LightweightString<char> FileManager::KvtoOS(const LightweightString<wchar_t>& name)
{
    LightweightString<char> host = OS()->utils()->toUTF8(name);
    if (host.startsWith("//", true))
        return LightweightString<char>("smb://") + (host.c_str() + 2);
    return host;
}

// Not the inverse of KvtoOS: "smb://server/share" comes back with one slash.
LightweightString<wchar_t> FileManager::OStoKv(const LightweightString<char>& name)
{
    const char* text = name.startsWith("smb://", true) ? name.c_str() + 5 : name.c_str();
    return OS()->utils()->fromUTF8(text, -1);
}

bool FileManager::isURI(const LightweightString<wchar_t>& name) { return std::wcsstr(name.c_str(), L"://") != nullptr; }

bool FileManager::isURI(const LightweightString<char>& name) { return std::strstr(name.c_str(), "://") != nullptr; }

// A final component with a dot is never executable; a bare name with a dot,
// with no "/" at all, is looked at.
bool FileManager::isExecutable(const LightweightString<char>& path)
{
    const char* text = path.c_str();
    const char* dot = std::strrchr(text, '.');
    const char* slash = std::strrchr(text, '/');
    if (dot && slash && dot >= slash)
        return false;
    const int fd = open(text, O_RDONLY);
    if (fd <= 0)
        return false;
    unsigned char header[28];
    const bool image = read(fd, header, sizeof header) == ssize_t(sizeof header) &&
                       std::memcmp(header, "\x7F" "ELF", 4) == 0;
    close(fd);
    return image;
}

LightweightString<wchar_t> FileManager::getPath(const LightweightString<wchar_t>& name)
{
    const wchar_t* slash = std::wcsrchr(name.c_str(), L'/');
    return slash ? name.substr(0, unsigned(slash - name.c_str()) + 1) : name;
}

bool FileManager::extMatch(const char* name, const LightweightString<char>& extension)
{
    const size_t nameLength = name ? std::strlen(name) : 0;
    if (extension.empty() || nameLength <= extension.size())
        return false;
    return strcasecmp(extension.c_str(), name + nameLength - extension.size()) == 0;
}

int FileManager::copyFile(const LightweightString<wchar_t>& source, const LightweightString<wchar_t>& destination,
                          bool failIfExists, ProgressCallback progress) const
{
    if (isVirtual(source))
        return FileProviderManager::copyFile(source, destination, failIfExists, progress);
    // Departure: a copy onto its own source would delete it before reading
    // it, so it is refused before anything is touched.
    if (!fileExists(source) || sameFile(KvtoOS(source), KvtoOS(destination)))
        return eCopyFailed;
    if (fileExists(destination)) {
        if (failIfExists)
            return eCopyExists;
        // The old destination goes before the source is known to be readable.
        if (!deleteFile(destination))
            return eCopyFailed;
    }
    Kv::Ptr<iFile> from = openFile(source, iFile::eAccessRead, iFile::eOpenExisting, iFile::eShareRead, 0);
    Kv::Ptr<iFile> to = openFile(destination, iFile::eAccessWrite, iFile::eCreateNew, iFile::eShareNone, 0);
    if (!from || !to)
        return eCopyFailed;
    const unsigned long long total = from->getSize();
    std::vector<unsigned char> buffer(kCopyChunk);
    for (unsigned long long done = 0; done < total;) {
        const unsigned chunk = unsigned(std::min<unsigned long long>(kCopyChunk, total - done));
        // A short read advances as if it were full; only 0 stops the copy.
        if (from->read(buffer.data(), chunk) == 0 || !to->write(buffer.data(), chunk))
            return eCopyFailed;
        done += chunk;
        if (progress.function && !progress.function(progress.context, done, total) && done < total)
            return eCopyCancelled;
    }
    to->setTime(iFile::eTimeModified, from->getTime(iFile::eTimeModified));
    return eCopyOk;
}

// overwrite has the opposite sense to copyFile's failIfExists.
bool FileManager::moveFile(const LightweightString<wchar_t>& source, const LightweightString<wchar_t>& destination,
                           bool overwrite) const
{
    if (!overwrite && fileExists(destination))
        return false;
    return rename(KvtoOS(source).c_str(), KvtoOS(destination).c_str()) == 0;
}

bool FileManager::deleteFile(const LightweightString<wchar_t>& name) const
{
    if (isVirtual(name))
        return FileProviderManager::deleteFile(name);
    const LightweightString<char> host = KvtoOS(name);
    if (!isURI(host))
        return remove(host.c_str()) == 0;
    GFile* file = g_file_new_for_uri(host.c_str());
    const bool deleted = g_file_delete(file, nullptr, nullptr);
    g_object_unref(file);
    return deleted;
}

bool FileManager::touchFile(const LightweightString<wchar_t>& name, iFile::eTimeType type) const
{
    Kv::Ptr<iFile> file = openFile(name, iFile::eAccessWrite, iFile::eOpenExisting, iFile::eShareWrite, 0);
    return file && file->setTime(type, timeNow());
}

bool FileManager::recycleFile(const LightweightString<wchar_t>&) const { return false; }

// The provider is always asked first; an unknown provider ID falls through to
// the host with the whole text.
Kv::Ptr<iFile> FileManager::openFile(const LightweightString<wchar_t>& name, unsigned int access,
                                     iFile::eOpenBehaviour behaviour, iFile::eShareMode share,
                                     unsigned int flags) const
{
    Kv::Ptr<iFile> file = FileProviderManager::openFile(name, access, behaviour, share, flags);
    if (!file) {
        if (isURI(KvtoOS(name)))
            file = Kv::Ptr<iFile>(new GioFile(name, access, behaviour, share, flags));
        else
            file = Kv::Ptr<iFile>(new File(name, access, behaviour, share, flags));
    }
    return file->isOpen() ? file : Kv::Ptr<iFile>();
}

bool FileManager::transferOwnership(const LightweightString<wchar_t>& name) const
{
    return chown(OS()->utils()->toUTF8(name).c_str(), getuid(), gid_t(-1)) == 0;
}

LightweightString<wchar_t> FileManager::getOwner(const LightweightString<wchar_t>& name) const
{
    struct stat status;
    if (stat(OS()->utils()->toUTF8(name).c_str(), &status) != 0)
        return LightweightString<wchar_t>();
    const passwd* owner = getpwuid(status.st_uid);
    return owner ? OS()->utils()->fromUTF8(owner->pw_name, -1) : LightweightString<wchar_t>();
}

unsigned long long FileManager::getFileSize(const LightweightString<wchar_t>& name) const { return getInfo(name).size; }

// Only the read-only bit has an effect: it clears or sets the owner's write permission.
void FileManager::setFileAttributes(const LightweightString<wchar_t>& name, unsigned int attributes) const
{
    const LightweightString<char> path = KvtoOS(name);
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return;
    const mode_t mode = (attributes & eAttrReadOnly) ? (status.st_mode & ~kOwnerWrite) : (status.st_mode | kOwnerWrite);
    chmod(path.c_str(), mode);
}

unsigned int FileManager::getFileAttributes(const LightweightString<wchar_t>& name) const
{
    if (isVirtual(name))
        return FileProviderManager::getFileAttributes(name);
    return getInfo(name).attributes;
}

bool FileManager::fileExists(const LightweightString<wchar_t>& name) const
{
    if (isVirtual(name))
        return FileProviderManager::fileExists(name);
    if (name.empty())
        return false;
    const LightweightString<char> host = KvtoOS(name);
    if (isURI(host)) {
        GFile* file = g_file_new_for_uri(host.c_str());
        const bool exists = g_file_query_exists(file, nullptr);
        g_object_unref(file);
        return exists;
    }
    struct stat status;
    return stat(host.c_str(), &status) == 0;
}

// Never hidden, and a ".app" folder is a plain folder here: listings differ on both.
iFileManager::DirectoryItem FileManager::getInfo(const LightweightString<wchar_t>& name) const
{
    DirectoryItem item;
    item.name = name;
    if (isVirtual(name)) {
        item.size = FileProviderManager::getFileSize(name);
        return item;
    }
    const LightweightString<char> path = KvtoOS(name);
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return item;
    item.size = static_cast<unsigned long long>(status.st_size);
    if (S_ISDIR(status.st_mode))
        item.attributes = eAttrDirectory;
    else if (S_ISREG(status.st_mode))
        item.attributes = eAttrFile | ((status.st_mode & kOwnerExecute) && isExecutable(path) ? eAttrExecutable : 0);
    if (!(status.st_mode & kOwnerWrite))
        item.attributes |= eAttrReadOnly;
    item.modifiedTime = ticks(status.st_mtime);
    item.changedTime = ticks(status.st_ctime);
    return item;
}

// Nothing asks whether the name exists.
Kv::Ptr<iDiskDrive> FileManager::openDrive(const LightweightString<wchar_t>& name) const
{
    return Kv::Ptr<iDiskDrive>(new DiskDrive(getMountedFilename(name), iDiskDrive::eInternalDrive));
}

// Each list is read afresh, so a volume that comes or goes meanwhile may be missed.
Kv::Ptr<iDiskDrive> FileManager::openDriveByID(const LightweightString<char>& id) const
{
    std::vector<Kv::Ptr<iDiskDrive>> drives;
    for (iDiskDrive::eType type : {iDiskDrive::eInternalDrive, iDiskDrive::eRemovableDrive, iDiskDrive::eNetworkDrive})
        getDiskDrives(type, drives);
    for (const Kv::Ptr<iDiskDrive>& drive : drives)
        if (drive->getID() == id)
            return drive;
    return Kv::Ptr<iDiskDrive>();
}

Kv::Ptr<iDLL> FileManager::openDLL(const LightweightString<wchar_t>& name) const
{
    return Kv::Ptr<iDLL>(new DynDLL(name));
}

bool FileManager::createDirectory(const LightweightString<wchar_t>& name) const
{
    return mkdir(KvtoOS(name).c_str(), 0777) == 0;
}

bool FileManager::deleteDirectory(const LightweightString<wchar_t>& name) const { return rmdir(KvtoOS(name).c_str()) == 0; }

void FileManager::getDirectoryContents(const LightweightString<wchar_t>& pattern, std::vector<DirectoryItem>& items,
                                       bool includeFiles, bool includeDirectories) const
{
    const LightweightString<wchar_t> dir = getPath(pattern);
    const LightweightString<char> osDir = KvtoOS(dir);
    LightweightString<char> filter;
    if (dir.size() < pattern.size()) {
        const LightweightString<wchar_t> rest = pattern.substr(dir.size(), LightweightString<wchar_t>::npos);
        if (!(rest == L"*.*"))
            filter = KvtoOS(rest);
    }
    DIR* folder = opendir(osDir.c_str());
    if (!folder)
        return;
    while (const dirent* entry = readdir(folder)) {
        const char* entryName = entry->d_name;
        const bool plain = isPlainEntry(entry->d_type);
        const bool bundle = isFolderEntry(entry->d_type) && isBundle(entryName);
        if (plain || bundle) {
            if (!includeFiles)
                continue;
        } else if (!isFolderEntry(entry->d_type) || !includeDirectories || std::strcmp(entryName, ".") == 0 ||
                   std::strcmp(entryName, "..") == 0) {
            continue;
        }
        if (!filter.empty() && !matchingFile(entryName, filter))
            continue;

        items.push_back(DirectoryItem());
        DirectoryItem& item = items.back();
        item.name = OStoKv(LightweightString<char>(entryName));
        // No separator is added: the pattern's folder carries its own "/".
        const LightweightString<char> path = osDir + entryName;
        struct stat status;
        if (stat(path.c_str(), &status) != 0)
            continue;
        item.modifiedTime = ticks(status.st_mtime);
        item.changedTime = ticks(status.st_ctime);
        item.size = static_cast<unsigned long long>(status.st_size);
        // A symbolic link counts as a folder, and so does a character device,
        // whatever stat found behind them.
        if (entry->d_type == DT_REG)
            item.attributes = eAttrFile | ((status.st_mode & kOwnerExecute) && isExecutable(path) ? eAttrExecutable : 0);
        else if (bundle)
            item.attributes = eAttrFile | eAttrExecutable;
        else
            item.attributes = eAttrDirectory;
        if (!(status.st_mode & kOwnerWrite))
            item.attributes |= eAttrReadOnly;
        if (entryName[0] == '.')
            item.attributes |= eAttrHidden;
    }
    closedir(folder);
}

// The system refuses read-write opens of folders, so this gives null for an
// actual folder; callers know.
Kv::Ptr<iFile> FileManager::openDirectory(const LightweightString<wchar_t>& name) const
{
    Kv::Ptr<iFile> folder = openDirectory(name, iFile::eAccessReadWrite, iFile::eOpenExisting, iFile::eShareReadWrite);
    return folder->isOpen() ? folder : Kv::Ptr<iFile>();
}

Kv::Ptr<iFile> FileManager::openDirectory(const LightweightString<wchar_t>& name, iFile::eAccessMode access,
                                          iFile::eOpenBehaviour behaviour, iFile::eShareMode share) const
{
    return Kv::Ptr<iFile>(new File(name, access, behaviour, share, 1));
}

Kv::Ptr<iAsyncContext> FileManager::createAsyncContext(void*) const { return Kv::Ptr<iAsyncContext>(); }

Kv::Ptr<iIOCompletionPort> FileManager::createIOCompletionPort() const
{
    return Kv::Ptr<iIOCompletionPort>(new IOCompletionPort);
}

unsigned int FileManager::getNumDiskDrives(iDiskDrive::eType type) const
{
    std::vector<Kv::Ptr<iDiskDrive>> drives;
    getDiskDrives(type, drives);
    return unsigned(drives.size());
}

// Every drive is made with type 1, whichever list it is in: getType doesn't
// tell the lists apart, and callers rely on that.
void FileManager::getDiskDrives(iDiskDrive::eType type, std::vector<Kv::Ptr<iDiskDrive>>& drives) const
{
    if (type == iDiskDrive::eNetworkDrive) {
        const LightweightString<wchar_t> base =
            OS()->shell()->getFolderLocation(iShell::eSettingsBase) + L"Library/CloudStorage/";
        std::vector<DirectoryItem> folders;
        getDirectoryContents(base, folders, false, true);
        for (const DirectoryItem& folder : folders) {
            // Providers name their folders "<Provider>-<account>".
            LightweightString<wchar_t> label = folder.name.substr(0, folder.name.find(L"-", 0));
            if (label == L"GoogleDrive")
                label = L"Google Drive";
            Kv::Ptr<DiskDrive> drive(new DiskDrive(base + folder.name, iDiskDrive::eInternalDrive));
            drive->setDescription(label);
            drives.push_back(drive);
        }
    }
    const LibmountVolumeTable table;
    for (const LibmountVolumeTable::Volume& volume : table.volumes()) {
        if (volume.hidden)
            continue;
        const bool wanted = (type == iDiskDrive::eInternalDrive && volume.bus == LibmountVolumeTable::eInternalBus) ||
                            (type == iDiskDrive::eRemovableDrive && volume.bus == LibmountVolumeTable::eExternalBus) ||
                            (type == iDiskDrive::eNetworkDrive && volume.bus == LibmountVolumeTable::eNoBus);
        if (!wanted)
            continue;
        // Linux has no one folder of volumes: a drive's root is its mount
        // point, with the "/" of a folder.
        LightweightString<wchar_t> root = OS()->utils()->fromUTF8(volume.mountPoint.c_str(), -1);
        if (!root.endsWith(L"/", true))
            root.push_back(L'/');
        Kv::Ptr<DiskDrive> drive(new DiskDrive(root, iDiskDrive::eInternalDrive));
        drive->setDescription(OS()->utils()->fromUTF8(volume.label.c_str(), -1));
        drives.push_back(drive);
    }
}

void FileManager::getNetworkServers(std::vector<Server>&) const {}

void FileManager::getNetworkShares(const LightweightString<wchar_t>&, std::vector<Share>&) const {}

LightweightString<wchar_t> FileManager::getTempFileName(const LightweightString<wchar_t>& prefix) const
{
    return OStoKv(freshTempName(OS()->utils()->toUTF8(prefix)));
}

LightweightString<wchar_t> FileManager::getTempFolder() const { return LightweightString<wchar_t>(); }

LightweightString<wchar_t> FileManager::getAppPath() const
{
    char buffer[kPathBuffer];
    if (unsigned needed = readExecutablePath(buffer))
        std::printf("FileManager::getAppPath() : buffer too small; need size %u\n", needed);
    if (char* lastSlash = std::strrchr(buffer, '/'))
        lastSlash[1] = 0;
    return OStoKv(LightweightString<char>(buffer));
}

LightweightString<wchar_t> FileManager::getAppName() const
{
    char buffer[kPathBuffer];
    if (unsigned needed = readExecutablePath(buffer))
        std::printf("FileManager::getAppName() : buffer too small; need size %u\n", needed);
    const char* lastSlash = std::strrchr(buffer, '/');
    return lastSlash ? OStoKv(LightweightString<char>(lastSlash + 1)) : LightweightString<wchar_t>();
}

LightweightString<wchar_t> FileManager::getAppDescription() const
{
    LightweightString<wchar_t> name = getAppName();
    if (name.startsWith(L"tale", false))
        return L"REEL Tale";
    if (name.startsWith(L"kinovista", false))
        return L"Kinovista";
    return name;
}

// The date always leads, whatever the date display says; with a time and no
// date display the two run together, as they always have.
LightweightString<wchar_t> FileManager::asString(const unsigned long long& time, eDateDisplay date,
                                                 eTimeDisplay clock) const
{
    const time_t seconds = time_t(time / FileTimes::kTicksPerSecond);
    const tm* local = localtime(&seconds);
    char text[256] = {};
    if (!local)
        return LightweightString<wchar_t>();
    size_t length = strftime(text, sizeof text, "%b %d, %Y", local);
    if (clock) {
        if (date)
            text[length++] = ' ';
        strftime(text + length, sizeof text - length, "%k:%M", local);
    }
    return OS()->utils()->fromUTF8(text, -1);
}

unsigned long long FileManager::timeNow() const { return ticks(time(nullptr)); }

// Creating a probe that deletes itself answers for the folder; a stale probe
// makes the answer false.
bool FileManager::isWritable(const LightweightString<wchar_t>& folder) const
{
    return bool(openFile(folder + L".WriteTest", iFile::eAccessWrite, iFile::eCreateNew, iFile::eShareNone,
                         iFile::eDeleteOnClose));
}

// A leading "/" on the name gives three slashes after "smb:", as it always has.
LightweightString<wchar_t> FileManager::getUniversalName(const LightweightString<wchar_t>& name) const
{
    return OS()->utils()->widen("smb://") + getPathSeparator() + OS()->systemInfo()->getComputerName() + name;
}

LightweightString<wchar_t> FileManager::getCurrentDirectory() const { return LightweightString<wchar_t>(); }

bool FileManager::setCurrentDirectory(const LightweightString<wchar_t>&) { return false; }

wchar_t FileManager::getPathSeparator() const { return L'/'; }

LightweightString<wchar_t> FileManager::getSafePath() const
{
    return OS()->shell()->getFolderLocation(iShell::eSettingsBase);
}

Kv::Ptr<iWatchable> FileManager::createWatchable(Kv::Ptr<iWatchHandler> handler,
                                                 const LightweightString<wchar_t>& folder) const
{
    return Kv::Ptr<iWatchable>(new Watchable(handler, folder));
}

bool isWildcard(char c) { return c == '*' || c == '?'; }

// One walk, left to right, that never backtracks.
bool matchingFile(const char* name, const LightweightString<char>& pattern)
{
    const char* n = name;
    const char* p = pattern.c_str();
    for (;;) {
        if (*p == 0)
            return *n == 0;
        if (*n == 0)
            return false;
        if (*p == '?') {
            ++n;
            ++p;
        } else if (*p != '*') {
            if (std::toupper(static_cast<unsigned char>(*n)) != std::toupper(static_cast<unsigned char>(*p)))
                return false;
            ++n;
            ++p;
        } else {
            while (isWildcard(*p))
                ++p;
            if (*p == 0) {
                n += std::strlen(n);
            } else if (*p == '.') {
                const char* lastDot = std::strrchr(n, '.');
                if (!lastDot) {
                    n += std::strlen(n);
                } else {
                    n = lastDot + 1;
                    while (*p == '.')
                        ++p;
                }
            } else {
                const char* found = std::strchr(n, *p);
                n = found ? found : n + std::strlen(n);
            }
        }
    }
}
