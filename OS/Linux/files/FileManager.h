#pragma once

#include "iFileManager.h"

// The one way to the file system: what OS()->fileMgr() returns. It has no
// state of its own.
class FileManager : public iFileManager
{
public:
    LightweightString<wchar_t> getAppPath() const override;
    LightweightString<wchar_t> getAppName() const override;
    LightweightString<wchar_t> getAppDescription() const override;
    wchar_t getPathSeparator() const override;

    static LightweightString<wchar_t> OStoKv(const LightweightString<char>& name);
};
