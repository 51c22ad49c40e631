#pragma once

#include "LightweightString.h"
#include "iObject.h"

// The file system as the library and its application see it: wide names in
// the interface, UTF-8 at the system calls.
class KV_API iFileManager : public virtual iObject
{
public:
    // The folder of the running executable, with its trailing "/".
    virtual LightweightString<wchar_t> getAppPath() const = 0;
    // The executable's file name.
    virtual LightweightString<wchar_t> getAppName() const = 0;
    // The display name of the application, which also names its settings folder.
    virtual LightweightString<wchar_t> getAppDescription() const = 0;
    virtual wchar_t getPathSeparator() const = 0;
};
