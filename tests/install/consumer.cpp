// An application built against the installed library.
#include <OS.h>

#include <cstdio>

int main()
{
    Kv::Ptr<iThreadEvent> done = OS()->threadMgr()->createEvent(true, false, nullptr);
    iThread::InitArgs args;
    args.entry = [](void* event) { static_cast<iThreadEvent*>(event)->set(); };
    args.arg = done.get();
    args.name = "worker";
    Kv::Ptr<iThread> worker = OS()->threadMgr()->createThread(args);
    const bool signalled = done->wait(5000) == WaitSignalled;
    std::printf("consumer: %s\n", signalled ? "ok" : "no signal");
    return signalled ? 0 : 1;
}
