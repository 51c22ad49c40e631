#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iDLL.h"
#include "iDiskDrive.h"
#include "iFile.h"
#include "iIOCompletionPort.h"
#include "iWatchHandler.h"
#include "iWatchable.h"
#include "iObject.h"

#include <vector>

class iFileProvider;

// The file system as the library and its application see it: wide names in
// the interface, UTF-8 at the system calls. A name "Virtual:<ID> <target>"
// belongs to the registered provider with that ID. Paths use "/", and a
// folder given for appending carries its trailing "/". Times are whole
// seconds of the Unix epoch times 10,000,000. Nothing here throws.
class KV_API iFileManager : public virtual iObject
{
public:
    enum eAttributes
    {
        eAttrFile = 0x01,
        eAttrHidden = 0x04,     // listings only: the name begins with "."
        eAttrReadOnly = 0x08,   // the owner may not write
        eAttrDirectory = 0x10,
        eAttrExecutable = 0x20,
    };

    enum eCopyResult
    {
        eCopyOk = 0,
        eCopyFailed = 1,
        eCopyExists = 2,
        eCopyCancelled = 3,
    };

    // Only zero and non-zero are told apart.
    enum eDateDisplay
    {
        eNoDate = 0,
        eShortDate = 1,
    };
    enum eTimeDisplay
    {
        eNoTime = 0,
        eShortTime = 1,
    };

    struct DirectoryItem
    {
        LightweightString<wchar_t> name; // bare in a listing; as given from getInfo
        unsigned int attributes = 0;
        unsigned long long size = 0;
        unsigned long long modifiedTime = 0;
        unsigned long long changedTime = 0;
    };

    // Called after each chunk of a copy; false cancels it.
    struct ProgressCallback
    {
        bool (*function)(void* context, unsigned long long done, unsigned long long total) = nullptr;
        void* context = nullptr;
    };

    // Named by the interface; nothing fills or reads them here.
    struct Server
    {
    };
    struct Share
    {
    };
    struct OO0000O0
    {
    };

    virtual int copyFile(const LightweightString<wchar_t>& source, const LightweightString<wchar_t>& destination,
                         bool failIfExists, ProgressCallback progress) const = 0;
    // With overwrite false an existing destination is left alone.
    virtual bool moveFile(const LightweightString<wchar_t>& source, const LightweightString<wchar_t>& destination,
                          bool overwrite) const = 0;
    virtual bool deleteFile(const LightweightString<wchar_t>& name) const = 0;
    virtual bool touchFile(const LightweightString<wchar_t>& name, iFile::eTimeType type) const = 0;
    virtual bool recycleFile(const LightweightString<wchar_t>& name) const = 0;
    // Null unless the file is open.
    virtual Kv::Ptr<iFile> openFile(const LightweightString<wchar_t>& name, unsigned int access,
                                    iFile::eOpenBehaviour behaviour, iFile::eShareMode share,
                                    unsigned int flags) const = 0;
    virtual bool transferOwnership(const LightweightString<wchar_t>& name) const = 0;
    virtual LightweightString<wchar_t> getOwner(const LightweightString<wchar_t>& name) const = 0;
    virtual unsigned long long getFileSize(const LightweightString<wchar_t>& name) const = 0;
    // Only eAttrReadOnly has an effect.
    virtual void setFileAttributes(const LightweightString<wchar_t>& name, unsigned int attributes) const = 0;
    virtual unsigned int getFileAttributes(const LightweightString<wchar_t>& name) const = 0;
    virtual bool fileExists(const LightweightString<wchar_t>& name) const = 0;
    virtual bool isVirtual(const LightweightString<wchar_t>& name) const = 0;
    virtual DirectoryItem getInfo(const LightweightString<wchar_t>& name) const = 0;
    // A drive on the name's folder when the name is a file, else on the name
    // itself, which need not exist. Never null.
    virtual Kv::Ptr<iDiskDrive> openDrive(const LightweightString<wchar_t>& name) const = 0;
    // The first drive of the internal, removable and network lists, in that
    // order, whose ID equals the given one exactly; null when none does.
    virtual Kv::Ptr<iDiskDrive> openDriveByID(const LightweightString<char>& id) const = 0;
    // Never null: the caller asks valid().
    virtual Kv::Ptr<iDLL> openDLL(const LightweightString<wchar_t>& name) const = 0;
    // One level only.
    virtual bool createDirectory(const LightweightString<wchar_t>& name) const = 0;
    virtual bool deleteDirectory(const LightweightString<wchar_t>& name) const = 0;
    // Appends what the pattern ("<folder>/<filter>") selects, in the system's order.
    virtual void getDirectoryContents(const LightweightString<wchar_t>& pattern, std::vector<DirectoryItem>& items,
                                      bool includeFiles, bool includeDirectories) const = 0;
    virtual Kv::Ptr<iFile> openDirectory(const LightweightString<wchar_t>& name) const = 0;
    virtual Kv::Ptr<iAsyncContext> createAsyncContext(void* context) const = 0;
    virtual Kv::Ptr<iIOCompletionPort> createIOCompletionPort() const = 0;
    // Counts what getDiskDrives would give now; the volumes may change before the next call.
    virtual unsigned int getNumDiskDrives(iDiskDrive::eType type) const = 0;
    // Appends the drives of one list, read afresh from the system.
    virtual void getDiskDrives(iDiskDrive::eType type, std::vector<Kv::Ptr<iDiskDrive>>& drives) const = 0;
    virtual void getNetworkServers(std::vector<Server>& servers) const = 0;
    virtual void getNetworkShares(const LightweightString<wchar_t>& name, std::vector<Share>& shares) const = 0;
    virtual int authoriseNetworkLocation(const LightweightString<wchar_t>&, const OO0000O0&) const { return 0; }
    // A name for a scratch file in the system's temporary folder; the file is not created.
    virtual LightweightString<wchar_t> getTempFileName(const LightweightString<wchar_t>& prefix) const = 0;
    virtual LightweightString<wchar_t> getTempFolder() const = 0;
    // The folder of the running executable, with its trailing "/".
    virtual LightweightString<wchar_t> getAppPath() const = 0;
    // The executable's file name.
    virtual LightweightString<wchar_t> getAppName() const = 0;
    // The display name of the application, which also names its settings folder.
    virtual LightweightString<wchar_t> getAppDescription() const = 0;
    virtual LightweightString<wchar_t> asString(const unsigned long long& time, eDateDisplay date,
                                                eTimeDisplay clock) const = 0;
    virtual unsigned long long timeNow() const = 0;
    // Whether a file can be created in the folder, which carries its "/".
    virtual bool isWritable(const LightweightString<wchar_t>& folder) const = 0;
    virtual LightweightString<wchar_t> findSysLib(const LightweightString<wchar_t>&) const
    {
        return LightweightString<wchar_t>();
    }
    // "smb://", the separator, this computer's name, then the name.
    virtual LightweightString<wchar_t> getUniversalName(const LightweightString<wchar_t>& name) const = 0;
    virtual LightweightString<wchar_t> getCurrentDirectory() const = 0;
    virtual bool setCurrentDirectory(const LightweightString<wchar_t>& name) = 0;
    virtual wchar_t getPathSeparator() const = 0;
    // The user's home, with its "/".
    virtual LightweightString<wchar_t> getSafePath() const = 0;
    virtual void registerFileProvider(iFileProvider* provider) const = 0;
    virtual void deRegisterFileProvider(iFileProvider* provider) const = 0;
    virtual LightweightString<wchar_t> getRealFilename(const LightweightString<wchar_t>& name) const = 0;
    virtual LightweightString<wchar_t> getDisplayFilename(const LightweightString<wchar_t>& name) const = 0;
    virtual LightweightString<wchar_t> getVirtualTarget(const LightweightString<wchar_t>& name) const = 0;
    virtual iFileProvider* getProviderFor(const LightweightString<wchar_t>& name) const = 0;
    virtual LightweightString<wchar_t> getProviderID(const LightweightString<wchar_t>& name) const = 0;
    virtual bool isStreamingFile(const LightweightString<wchar_t>& name) const = 0;
    virtual LightweightString<wchar_t> getMountedFilename(const LightweightString<wchar_t>& name) const
    {
        return name;
    }
    // Changes directly inside the folder reach the handler, on the watcher's
    // own thread, for as long as the result lives.
    virtual Kv::Ptr<iWatchable> createWatchable(Kv::Ptr<iWatchHandler> handler,
                                                const LightweightString<wchar_t>& folder) const = 0;
};
