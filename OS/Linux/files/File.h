#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iCriticalSection.h"
#include "iFile.h"

// A file on a POSIX descriptor: every ordinary path. Made by the file
// manager, which hands out only open ones; a failed open leaves an object
// with isOpen() false. lock is held across the seek and the transfer of
// readAt and writeAt, so that two threads using them never disturb each other.
class File : public iFile
{
public:
    File(const LightweightString<wchar_t>& name, unsigned int access, eOpenBehaviour behaviour, eShareMode share,
         unsigned int flags);
    // Closes, then removes a delete-on-close file, even one that never opened.
    ~File() override;

    LightweightString<wchar_t> getFileName() const override;
    unsigned int read(void* buffer, unsigned int bytes) override;
    unsigned int readAt(unsigned long long position, void* buffer, unsigned int bytes) override;
    bool readAsync(void* buffer, unsigned int bytes, Kv::Ptr<iAsyncContext> context) override;
    bool readAtAsync(unsigned long long position, void* buffer, unsigned int bytes,
                     Kv::Ptr<iAsyncContext> context) override;
    bool write(void* buffer, unsigned int bytes) override;
    bool writeAsync(void* buffer, unsigned int bytes, Kv::Ptr<iAsyncContext> context) override;
    bool writeAt(unsigned long long position, void* buffer, unsigned int bytes) override;
    bool writeAtAsync(unsigned long long position, void* buffer, unsigned int bytes,
                      Kv::Ptr<iAsyncContext> context) override;
    bool positionAt(unsigned long long position) override;
    unsigned long long getPosition() const override;
    unsigned long long getTime(eTimeType type) const override;
    bool setTime(eTimeType type, const unsigned long long& time) override;
    unsigned long long getSize() const override;
    bool truncate(unsigned long long size) override;
    bool isOpen() const override;

private:
    Kv::Ptr<iCriticalSection> lock; // guards seek + transfer
    int fd;                         // -1 when closed
    unsigned int flags;
    LightweightString<char> osName;
    LightweightString<wchar_t> name;
};
