#pragma once

#include "LightweightString.h"
#include "iObject.h"

#include <vector>

// Tells the application when items directly inside one folder change. It runs
// from construction until the last reference goes; each batch of changes
// reaches the iWatchHandler on a private serial thread of this watcher. Never
// drop the last reference from inside the handler: destruction waits for that
// thread.
class KV_API iWatchable : public virtual iObject
{
public:
    enum eFileChange
    {
        eFileRemoved = 3,
        eFileModified = 4,
        eFileRenamed = 6,
    };

    struct FileChangeInfo
    {
        LightweightString<wchar_t> name; // the whole path of the item
        int change = 8;                  // an eFileChange once filled in
    };

    // One batch of changes, in the order they happened. Not shared once delivered.
    class Result : public virtual iObject
    {
    public:
        std::vector<FileChangeInfo> changes;
        LightweightString<wchar_t> folder;
        int status = 8; // 10 on every batch that reaches a handler
    };

    // The folder exactly as it was passed in, trailing "/" or not.
    virtual const LightweightString<wchar_t>& getWatchedFolder() const = 0;
};
