#include "OStoKvErr.h"

#include <cstdio>

KvResult OStoKvErr(int status)
{
    if (status == 0)
        return 1;
    std::printf("result %d\n", status);
    return 0;
}
