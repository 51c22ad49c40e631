#include "FileManager.h"

#include "iOperatingSystem.h"
#include "iUtils.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <vector>

namespace
{
    constexpr size_t kPathBuffer = 256;

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
}

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

wchar_t FileManager::getPathSeparator() const { return L'/'; }

LightweightString<wchar_t> FileManager::OStoKv(const LightweightString<char>& name)
{
    return OS()->utils()->fromUTF8(name.c_str(), int(name.size()));
}
