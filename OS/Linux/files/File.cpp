#include "File.h"

#include "CriticalSectionLock.h"
#include "FileManager.h"
#include "FileTimes.h"
#include "iThreadManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
    int openFlags(unsigned int access, iFile::eOpenBehaviour behaviour)
    {
        int flags = access == iFile::eAccessReadWrite ? O_RDWR : (access & iFile::eAccessWrite) ? O_WRONLY : O_RDONLY;
        switch (behaviour) {
        case iFile::eCreateNew:
            return flags | O_CREAT | O_EXCL;
        case iFile::eOpenAlways:
            return flags | O_CREAT;
        case iFile::eCreateAlways:
            return flags | O_CREAT | O_TRUNC;
        default:
            return flags;
        }
    }
}

File::File(const LightweightString<wchar_t>& name, unsigned int access, eOpenBehaviour behaviour, eShareMode,
           unsigned int flags)
    : flags(flags), osName(FileManager::KvtoOS(name)), name(name)
{
    fd = open(osName.c_str(), openFlags(access, behaviour), 0777);
    lock = OS()->threadMgr()->createCriticalSection(0);
}

File::~File()
{
    if (isOpen())
        close(fd);
    if (flags & eDeleteOnClose)
        unlink(osName.c_str());
}

LightweightString<wchar_t> File::getFileName() const { return name; }

// The system's count cut to 32 bits: a failure reads as 0xFFFFFFFF, not 0.
unsigned int File::read(void* buffer, unsigned int bytes)
{
    CriticalSectionLock guard(lock);
    return static_cast<unsigned int>(::read(fd, buffer, bytes));
}

unsigned int File::readAt(unsigned long long position, void* buffer, unsigned int bytes)
{
    CriticalSectionLock guard(lock);
    if (lseek(fd, off_t(position), SEEK_SET) == -1)
        return 0;
    return read(buffer, bytes);
}

bool File::readAsync(void*, unsigned int, Kv::Ptr<iAsyncContext>) { return false; }

bool File::readAtAsync(unsigned long long, void*, unsigned int, Kv::Ptr<iAsyncContext>) { return false; }

// A short write is a failure, and nothing is retried.
bool File::write(void* buffer, unsigned int bytes)
{
    CriticalSectionLock guard(lock);
    return static_cast<unsigned int>(::write(fd, buffer, bytes)) == bytes;
}

bool File::writeAsync(void*, unsigned int, Kv::Ptr<iAsyncContext>) { return false; }

bool File::writeAt(unsigned long long position, void* buffer, unsigned int bytes)
{
    CriticalSectionLock guard(lock);
    if (lseek(fd, off_t(position), SEEK_SET) == -1)
        return false;
    return write(buffer, bytes);
}

bool File::writeAtAsync(unsigned long long, void*, unsigned int, Kv::Ptr<iAsyncContext>) { return false; }

bool File::positionAt(unsigned long long position) { return lseek(fd, off_t(position), SEEK_SET) != -1; }

unsigned long long File::getPosition() const { return static_cast<unsigned long long>(lseek(fd, 0, SEEK_CUR)); }

unsigned long long File::getTime(eTimeType type) const { return FileTimes::get(fd, type); }

bool File::setTime(eTimeType type, const unsigned long long& time) { return FileTimes::set(fd, type, time); }

unsigned long long File::getSize() const
{
    struct stat status;
    return fstat(fd, &status) == 0 ? static_cast<unsigned long long>(status.st_size) : 0;
}

bool File::truncate(unsigned long long) { return false; }

bool File::isOpen() const { return fd != -1; }
