#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iObject.h"

// Asynchronous transfers are not offered on this host: nothing makes one.
class KV_API iAsyncContext : public virtual iObject
{
};

// One opened file. The object dies with its last pointer, closing the file.
// Times are whole seconds of the Unix epoch times 10,000,000.
class KV_API iFile : public virtual iObject
{
public:
    enum eAccessMode
    {
        eAccessRead = 1,
        eAccessWrite = 2,
        eAccessReadWrite = 3,
    };

    enum eOpenBehaviour
    {
        eOpenExisting = 0,
        eCreateNew = 1,    // fails if the file exists
        eOpenAlways = 2,   // creates a missing file
        eCreateAlways = 3, // creates, emptying what is there
    };

    // Accepted and ignored.
    enum eShareMode
    {
        eShareNone = 0,
        eShareRead = 1,
        eShareWrite = 2,
        eShareReadWrite = 3,
    };

    enum eTimeType
    {
        eTimeModified = 0,
        eTimeChanged = 1,
        eTimeAccessed = 2,
    };

    // The one open flag with a meaning: the file goes when its object does.
    static constexpr unsigned int eDeleteOnClose = 0x20;

    // The name exactly as given, before conversion.
    virtual LightweightString<wchar_t> getFileName() const = 0;
    virtual unsigned int read(void* buffer, unsigned int bytes) = 0;
    virtual unsigned int readAt(unsigned long long position, void* buffer, unsigned int bytes) = 0;
    virtual bool readAsync(void* buffer, unsigned int bytes, Kv::Ptr<iAsyncContext> context) = 0;
    virtual bool readAtAsync(unsigned long long position, void* buffer, unsigned int bytes,
                             Kv::Ptr<iAsyncContext> context) = 0;
    virtual bool write(void* buffer, unsigned int bytes) = 0;
    virtual bool writeAsync(void* buffer, unsigned int bytes, Kv::Ptr<iAsyncContext> context) = 0;
    virtual bool writeAt(unsigned long long position, void* buffer, unsigned int bytes) = 0;
    virtual bool writeAtAsync(unsigned long long position, void* buffer, unsigned int bytes,
                              Kv::Ptr<iAsyncContext> context) = 0;
    virtual bool positionAt(unsigned long long position) = 0;
    virtual unsigned long long getPosition() const = 0;
    virtual unsigned long long getTime(eTimeType type) const = 0;
    virtual bool setTime(eTimeType type, const unsigned long long& time) = 0;
    virtual unsigned long long getSize() const = 0;
    virtual void recalculateSize() {}
    virtual bool truncate(unsigned long long size) = 0;
    virtual bool isOpen() const = 0;
    virtual unsigned int getCaps() const { return 0; }
};
