#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iFile.h"
#include "iFileManager.h"

#include <vector>

// Implemented by the application: it answers the names
// "Virtual:<provider ID> <target>" that carry its ID. Most calls get the
// target alone; isStreamingFile and getMountedFilename get the whole name.
// Calls come on the caller's thread with no lock held: a provider must be
// thread-safe, and must deregister before it dies.
class KV_API iFileProvider
{
public:
    virtual ~iFileProvider() = default;

    virtual Kv::Ptr<iFile> openFile(const LightweightString<wchar_t>& name, unsigned int access,
                                    iFile::eOpenBehaviour behaviour, iFile::eShareMode share, unsigned int flags) = 0;
    virtual bool fileExists(const LightweightString<wchar_t>& name) = 0;
    virtual unsigned long long getFileSize(const LightweightString<wchar_t>& name) = 0;
    virtual unsigned int getFileAttributes(const LightweightString<wchar_t>& name) = 0;
    virtual iFileManager::DirectoryItem getInfo(const LightweightString<wchar_t>& name) = 0;
    virtual int copyFile(const LightweightString<wchar_t>& name, const LightweightString<wchar_t>& destination,
                         bool failIfExists, iFileManager::ProgressCallback progress) = 0;
    virtual bool deleteFile(const LightweightString<wchar_t>& name) = 0;
    virtual LightweightString<wchar_t> getID() = 0;
    // Not called by the library.
    virtual void reserved() {}
    virtual LightweightString<wchar_t> getRealFilename(const LightweightString<wchar_t>& name) = 0;
    virtual bool isStreamingFile(const LightweightString<wchar_t>& name) = 0;
    virtual bool createDirectory(const LightweightString<wchar_t>& name) = 0;
    virtual void getDirectoryContents(const LightweightString<wchar_t>& name,
                                      std::vector<iFileManager::DirectoryItem>& items, bool includeFiles,
                                      bool includeDirectories) = 0;
    virtual LightweightString<wchar_t> getMountedFilename(const LightweightString<wchar_t>& name) = 0;
    virtual LightweightString<wchar_t> getDisplayFilename(const LightweightString<wchar_t>& name) = 0;
};
