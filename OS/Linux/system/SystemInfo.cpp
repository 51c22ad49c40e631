#include "SystemInfo.h"

#include "iUtils.h"

#include <cstring>
#include <unistd.h>

LightweightString<wchar_t> SystemInfo::getComputerName() const
{
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) == -1)
        return LightweightString<wchar_t>();
    if (char* dot = std::strchr(name, '.'))
        *dot = 0;
    return OS()->utils()->fromUTF8(name, -1);
}
