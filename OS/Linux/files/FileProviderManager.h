#pragma once

#include "Ptr.h"
#include "iCriticalSection.h"
#include "iFileManager.h"
#include "iFileProvider.h"

#include <vector>

// The registry of the application's file providers and the routing of
// "Virtual:<ID> <target>" names to them. The base of FileManager, which
// overrides the routed operations and comes here for virtual names.
//
// cs_ guards _providers only: during registration, deregistration and the
// look-up, never while a provider is called.
class FileProviderManager : public iFileManager
{
public:
    void registerFileProvider(iFileProvider* provider) const override;
    void deRegisterFileProvider(iFileProvider* provider) const override;
    bool isVirtual(const LightweightString<wchar_t>& name) const override;
    LightweightString<wchar_t> getProviderID(const LightweightString<wchar_t>& name) const override;
    LightweightString<wchar_t> getVirtualTarget(const LightweightString<wchar_t>& name) const override;
    iFileProvider* getProviderFor(const LightweightString<wchar_t>& name) const override;
    LightweightString<wchar_t> getRealFilename(const LightweightString<wchar_t>& name) const override;
    LightweightString<wchar_t> getDisplayFilename(const LightweightString<wchar_t>& name) const override;
    LightweightString<wchar_t> getMountedFilename(const LightweightString<wchar_t>& name) const override;
    bool isStreamingFile(const LightweightString<wchar_t>& name) const override;

    // The routed operations: the provider answers for the target, and an
    // unknown provider gives the failure value.
    bool deleteFile(const LightweightString<wchar_t>& name) const override;
    Kv::Ptr<iFile> openFile(const LightweightString<wchar_t>& name, unsigned int access,
                            iFile::eOpenBehaviour behaviour, iFile::eShareMode share,
                            unsigned int flags) const override;
    int copyFile(const LightweightString<wchar_t>& source, const LightweightString<wchar_t>& destination,
                 bool failIfExists, ProgressCallback progress) const override;
    unsigned long long getFileSize(const LightweightString<wchar_t>& name) const override;
    unsigned int getFileAttributes(const LightweightString<wchar_t>& name) const override;
    bool fileExists(const LightweightString<wchar_t>& name) const override;
    DirectoryItem getInfo(const LightweightString<wchar_t>& name) const override;
    bool createDirectory(const LightweightString<wchar_t>& name) const override;
    void getDirectoryContents(const LightweightString<wchar_t>& pattern, std::vector<DirectoryItem>& items,
                              bool includeFiles, bool includeDirectories) const override;

private:
    // Raw pointers, newest first: the registry neither counts nor owns.
    static std::vector<iFileProvider*> _providers;
    // Replaced at every registration; null until the first.
    static Kv::Ptr<iCriticalSection> cs_;
};
