#include "FileTimes.h"

#include <sys/stat.h>
#include <sys/time.h>

namespace FileTimes
{
    unsigned long long get(int fd, iFile::eTimeType type)
    {
        struct stat status;
        if (fstat(fd, &status) != 0)
            return 0;
        const time_t seconds = type == iFile::eTimeModified  ? status.st_mtime
                               : type == iFile::eTimeChanged ? status.st_ctime
                                                             : status.st_atime;
        return static_cast<unsigned long long>(seconds) * kTicksPerSecond;
    }

    bool set(int fd, iFile::eTimeType type, unsigned long long time)
    {
        if (type == iFile::eTimeChanged)
            return false;
        const timeval both[2] = {{time_t(time / kTicksPerSecond), 0}, {time_t(time / kTicksPerSecond), 0}};
        return futimes(fd, both) == 0;
    }
}
