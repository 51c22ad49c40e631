#pragma once

#include "FileProviderManager.h"

// The one way to the file system: what OS()->fileMgr() returns. It has no
// state of its own and takes no lock; the provider registry of its base has
// its own. Virtual names go to their provider where the operation routes
// them, and everything else to the host.
class FileManager : public FileProviderManager
{
public:
    int copyFile(const LightweightString<wchar_t>& source, const LightweightString<wchar_t>& destination,
                 bool failIfExists, ProgressCallback progress) const override;
    bool moveFile(const LightweightString<wchar_t>& source, const LightweightString<wchar_t>& destination,
                  bool overwrite) const override;
    bool deleteFile(const LightweightString<wchar_t>& name) const override;
    bool touchFile(const LightweightString<wchar_t>& name, iFile::eTimeType type) const override;
    bool recycleFile(const LightweightString<wchar_t>& name) const override;
    Kv::Ptr<iFile> openFile(const LightweightString<wchar_t>& name, unsigned int access,
                            iFile::eOpenBehaviour behaviour, iFile::eShareMode share,
                            unsigned int flags) const override;
    bool transferOwnership(const LightweightString<wchar_t>& name) const override;
    LightweightString<wchar_t> getOwner(const LightweightString<wchar_t>& name) const override;
    unsigned long long getFileSize(const LightweightString<wchar_t>& name) const override;
    void setFileAttributes(const LightweightString<wchar_t>& name, unsigned int attributes) const override;
    unsigned int getFileAttributes(const LightweightString<wchar_t>& name) const override;
    bool fileExists(const LightweightString<wchar_t>& name) const override;
    DirectoryItem getInfo(const LightweightString<wchar_t>& name) const override;
    Kv::Ptr<iDiskDrive> openDrive(const LightweightString<wchar_t>& name) const override;
    Kv::Ptr<iDiskDrive> openDriveByID(const LightweightString<char>& id) const override;
    Kv::Ptr<iDLL> openDLL(const LightweightString<wchar_t>& name) const override;
    bool createDirectory(const LightweightString<wchar_t>& name) const override;
    bool deleteDirectory(const LightweightString<wchar_t>& name) const override;
    void getDirectoryContents(const LightweightString<wchar_t>& pattern, std::vector<DirectoryItem>& items,
                              bool includeFiles, bool includeDirectories) const override;
    Kv::Ptr<iFile> openDirectory(const LightweightString<wchar_t>& name) const override;
    Kv::Ptr<iAsyncContext> createAsyncContext(void* context) const override;
    Kv::Ptr<iIOCompletionPort> createIOCompletionPort() const override;
    unsigned int getNumDiskDrives(iDiskDrive::eType type) const override;
    // The cloud folders under the home's Library/CloudStorage lead the
    // network list; then the mounted volumes, pseudo file systems left out.
    void getDiskDrives(iDiskDrive::eType type, std::vector<Kv::Ptr<iDiskDrive>>& drives) const override;
    void getNetworkServers(std::vector<Server>& servers) const override;
    void getNetworkShares(const LightweightString<wchar_t>& name, std::vector<Share>& shares) const override;
    LightweightString<wchar_t> getTempFileName(const LightweightString<wchar_t>& prefix) const override;
    LightweightString<wchar_t> getTempFolder() const override;
    LightweightString<wchar_t> getAppPath() const override;
    LightweightString<wchar_t> getAppName() const override;
    LightweightString<wchar_t> getAppDescription() const override;
    LightweightString<wchar_t> asString(const unsigned long long& time, eDateDisplay date,
                                        eTimeDisplay clock) const override;
    unsigned long long timeNow() const override;
    bool isWritable(const LightweightString<wchar_t>& folder) const override;
    LightweightString<wchar_t> getUniversalName(const LightweightString<wchar_t>& name) const override;
    LightweightString<wchar_t> getCurrentDirectory() const override;
    bool setCurrentDirectory(const LightweightString<wchar_t>& name) override;
    wchar_t getPathSeparator() const override;
    LightweightString<wchar_t> getSafePath() const override;
    Kv::Ptr<iWatchable> createWatchable(Kv::Ptr<iWatchHandler> handler,
                                        const LightweightString<wchar_t>& folder) const override;

    // The host's name for a name: UTF-8, with a leading "//" made "smb://".
    static LightweightString<char> KvtoOS(const LightweightString<wchar_t>& name);
    // Back from the host: "smb://server/share" becomes "/server/share".
    static LightweightString<wchar_t> OStoKv(const LightweightString<char>& name);
    static bool isURI(const LightweightString<wchar_t>& name);
    static bool isURI(const LightweightString<char>& name);
    // An ELF image whose last path component has no dot.
    static bool isExecutable(const LightweightString<char>& path);
    // Up to and including the last "/"; a name without one comes back whole.
    static LightweightString<wchar_t> getPath(const LightweightString<wchar_t>& name);
    static bool extMatch(const char* name, const LightweightString<char>& extension);
    // Gives the file even when it did not open.
    Kv::Ptr<iFile> openDirectory(const LightweightString<wchar_t>& name, iFile::eAccessMode access,
                                 iFile::eOpenBehaviour behaviour, iFile::eShareMode share) const;
};

bool isWildcard(char c);

// "?" takes one character, "*" a run; letters match in any case but the
// search after "*" respects case, and "*" before "." binds to the last dot.
bool matchingFile(const char* name, const LightweightString<char>& pattern);
