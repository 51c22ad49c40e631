#pragma once

#include "LightweightString.h"
#include "iObject.h"

// Carried between processes of the editor; this library reads none of it.
struct InterProcessEvent;

// A handle on one running program. Its queries ask the system each time, so
// after the program has ended they give what the system then gives.
class KV_API iProcess : public virtual iObject
{
public:
    // What a crash dump is written from; this library reads none of it.
    struct DumpFileContext;

    virtual int getID() const = 0;
    // The program's name; empty once it has gone.
    virtual LightweightString<wchar_t> getName() const = 0;
    // Not done on this host.
    virtual void writeDumpFile(const LightweightString<wchar_t>& path, const DumpFileContext& context) = 0;
    virtual void createMiniDump(const DumpFileContext* context) = 0;
    virtual void handleEvent(const InterProcessEvent& event) = 0;
};
