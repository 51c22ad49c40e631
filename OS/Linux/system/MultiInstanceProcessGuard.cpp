#include "MultiInstanceProcessGuard.h"

#include "iShell.h"
#include "iUtils.h"

#include <fcntl.h>
#include <unistd.h>

Kv::Ptr<iObject> MultiInstanceProcessGuard::make(const char* name)
{
    LightweightString<char> path = OS()->utils()->toUTF8(OS()->shell()->getFolderLocation(iShell::eDocuments));
    path = path + "." + name + ".thereCanBeOnlyOne";
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT, 0644);
    // The descriptor of a lost race stays open, as does the guard's own.
    if (descriptor == -1 || lockf(descriptor, F_TLOCK, 0) != 0)
        return Kv::Ptr<iObject>();
    return Kv::Ptr<iObject>(new MultiInstanceProcessGuard(descriptor));
}

MultiInstanceProcessGuard::MultiInstanceProcessGuard(int descriptor) : descriptor(descriptor) {}

MultiInstanceProcessGuard::~MultiInstanceProcessGuard() { lockf(descriptor, F_ULOCK, 0); }
