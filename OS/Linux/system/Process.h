#pragma once

#include "iProcess.h"
#include "Ptr.h"

#include <sys/types.h>

// A handle on one process by its id. It asks /proc on every query and holds
// nothing else.
class Process : public iProcess
{
public:
    explicit Process(pid_t id);

    // Starts the program at the path application with document as its one
    // argument, taken as it stands (an empty one too). Null when the program
    // cannot be started. The program is the editor's child: a waiter of its
    // own collects its exit, so nothing lingers after it ends.
    static Kv::Ptr<iProcess> create(const LightweightString<wchar_t>& application,
                                    const LightweightString<wchar_t>& document);

    int getID() const override;
    LightweightString<wchar_t> getName() const override;
    void writeDumpFile(const LightweightString<wchar_t>& path, const DumpFileContext& context) override;
    void createMiniDump(const DumpFileContext* context) override;
    void handleEvent(const InterProcessEvent& event) override;

private:
    const pid_t id;
};
