#include "FileProviderManager.h"

#include "CriticalSectionLock.h"
#include "iThreadManager.h"

#include <algorithm>

std::vector<iFileProvider*> FileProviderManager::_providers;
Kv::Ptr<iCriticalSection> FileProviderManager::cs_;

namespace
{
    const wchar_t kVirtualPrefix[] = L"Virtual:";
    constexpr unsigned kPrefixLength = sizeof kVirtualPrefix / sizeof kVirtualPrefix[0] - 1;

    // Where the ID ends in a virtual name; npos for any other name.
    unsigned separatingSpace(const LightweightString<wchar_t>& name)
    {
        if (!name.startsWith(kVirtualPrefix, true))
            return LightweightString<wchar_t>::npos;
        return name.find(L" ", 0);
    }
}

// The section is made anew outside any lock: a holder of the old one keeps
// its own reference and is unharmed.
void FileProviderManager::registerFileProvider(iFileProvider* provider) const
{
    cs_ = OS()->threadMgr()->createCriticalSection(0);
    CriticalSectionLock guard(cs_);
    if (std::find(_providers.begin(), _providers.end(), provider) == _providers.end())
        _providers.insert(_providers.begin(), provider);
}

void FileProviderManager::deRegisterFileProvider(iFileProvider* provider) const
{
    CriticalSectionLock guard(cs_);
    auto found = std::find(_providers.begin(), _providers.end(), provider);
    if (found != _providers.end())
        _providers.erase(found);
}

bool FileProviderManager::isVirtual(const LightweightString<wchar_t>& name) const
{
    return name.startsWith(kVirtualPrefix, true);
}

LightweightString<wchar_t> FileProviderManager::getProviderID(const LightweightString<wchar_t>& name) const
{
    const unsigned space = separatingSpace(name);
    if (space == LightweightString<wchar_t>::npos)
        return LightweightString<wchar_t>();
    return name.substr(kPrefixLength, space - kPrefixLength);
}

LightweightString<wchar_t> FileProviderManager::getVirtualTarget(const LightweightString<wchar_t>& name) const
{
    const unsigned space = separatingSpace(name);
    if (space == LightweightString<wchar_t>::npos)
        return LightweightString<wchar_t>();
    return name.substr(space + 1, LightweightString<wchar_t>::npos);
}

// The first provider with the ID answers, so the last registered shadows
// earlier ones. The lock is let go before the caller uses the provider.
iFileProvider* FileProviderManager::getProviderFor(const LightweightString<wchar_t>& name) const
{
    const LightweightString<wchar_t> id = getProviderID(name);
    if (id.empty())
        return nullptr;
    CriticalSectionLock guard(cs_);
    for (iFileProvider* provider : _providers)
        if (LightweightString<wchar_t>::compare(provider->getID().c_str(), id.c_str()) == 0)
            return provider;
    return nullptr;
}

LightweightString<wchar_t> FileProviderManager::getRealFilename(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->getRealFilename(getVirtualTarget(name)) : name;
}

LightweightString<wchar_t> FileProviderManager::getDisplayFilename(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->getDisplayFilename(getVirtualTarget(name)) : name;
}

LightweightString<wchar_t> FileProviderManager::getMountedFilename(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->getMountedFilename(name) : name;
}

bool FileProviderManager::isStreamingFile(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->isStreamingFile(name) : false;
}

bool FileProviderManager::deleteFile(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->deleteFile(getVirtualTarget(name)) : false;
}

Kv::Ptr<iFile> FileProviderManager::openFile(const LightweightString<wchar_t>& name, unsigned int access,
                                             iFile::eOpenBehaviour behaviour, iFile::eShareMode share,
                                             unsigned int flags) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->openFile(getVirtualTarget(name), access, behaviour, share, flags) : Kv::Ptr<iFile>();
}

// A virtual destination is handed over unchanged.
int FileProviderManager::copyFile(const LightweightString<wchar_t>& source,
                                  const LightweightString<wchar_t>& destination, bool failIfExists,
                                  ProgressCallback progress) const
{
    iFileProvider* provider = getProviderFor(source);
    return provider ? provider->copyFile(getVirtualTarget(source), destination, failIfExists, progress) : eCopyFailed;
}

unsigned long long FileProviderManager::getFileSize(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->getFileSize(getVirtualTarget(name)) : 0;
}

unsigned int FileProviderManager::getFileAttributes(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->getFileAttributes(getVirtualTarget(name)) : 0;
}

bool FileProviderManager::fileExists(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->fileExists(getVirtualTarget(name)) : false;
}

iFileManager::DirectoryItem FileProviderManager::getInfo(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->getInfo(getVirtualTarget(name)) : DirectoryItem();
}

bool FileProviderManager::createDirectory(const LightweightString<wchar_t>& name) const
{
    iFileProvider* provider = getProviderFor(name);
    return provider ? provider->createDirectory(getVirtualTarget(name)) : false;
}

void FileProviderManager::getDirectoryContents(const LightweightString<wchar_t>& pattern,
                                               std::vector<DirectoryItem>& items, bool includeFiles,
                                               bool includeDirectories) const
{
    if (iFileProvider* provider = getProviderFor(pattern))
        provider->getDirectoryContents(getVirtualTarget(pattern), items, includeFiles, includeDirectories);
}
