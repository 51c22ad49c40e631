#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iCriticalSection.h"
#include "iFile.h"

#include <gio/gio.h>

// A file behind a GIO stream: every name that holds "://" (file://, smb://,
// sftp://... where GVfs serves them). Only the two creating behaviours
// create a file; its write always reports success, and it ignores
// delete-on-close. Access 1 reads; any other value opens for writing.
class GioFile : public iFile
{
public:
    GioFile(const LightweightString<wchar_t>& name, unsigned int access, eOpenBehaviour behaviour, eShareMode share,
            unsigned int flags);
    ~GioFile() override;

    GioFile(const GioFile&) = delete;
    GioFile& operator=(const GioFile&) = delete;

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
    // Seeks to the end and back, under the lock: the one size query that moves.
    unsigned long long getSize() const override;
    bool truncate(unsigned long long size) override;
    bool isOpen() const override;

private:
    void openForWriting(eOpenBehaviour behaviour);

    Kv::Ptr<iCriticalSection> lock; // guards seek + transfer
    GFile* file;
    GObject* handle;       // the stream, null when the open failed; ours to release
    GInputStream* input;   // borrowed from handle
    GOutputStream* output; // borrowed from handle; null when reading only
    [[maybe_unused]] unsigned int flags;
    LightweightString<char> osName;
    LightweightString<wchar_t> name;
};
