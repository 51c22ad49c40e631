// kvdemo: a tour of the library. For now: the system object, the log in both
// of its line formats, and named threads handing work to each other through
// events.
#include "OS.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace
{
    iUtils* utils() { return OS()->utils(); }

    // The import pipeline of the tour: a reader hands frames to a decoder, a
    // mixer waits for both streams, a watcher waits for the end or a cancel.
    struct Pipeline
    {
        Kv::Ptr<iThreadEvent> videoReady = OS()->threadMgr()->createEvent(false, false, nullptr);
        Kv::Ptr<iThreadEvent> audioReady = OS()->threadMgr()->createEvent(false, false, nullptr);
        Kv::Ptr<iThreadEvent> mixed = OS()->threadMgr()->createEvent(true, false, nullptr);
        Kv::Ptr<iThreadEvent> cancelled = OS()->threadMgr()->createEvent(true, false, nullptr);
        // Shared by name: the decoder finds it through the thread manager.
        Kv::Ptr<iThreadEvent> frameRequested = OS()->threadMgr()->createEvent(false, false, "kvdemo.frameRequested");
        Kv::Ptr<iThreadEvent> frameDecoded = OS()->threadMgr()->createEvent(false, false, nullptr);
        int framesDecoded = 0;
    };

    void say(const char* who, const char* what)
    {
        char line[256];
        std::snprintf(line, sizeof line, "[%-8s id %u] %s\n", who, OS()->threadMgr()->getCurrentThreadID(), what);
        utils()->log(line, nullptr);
        fflush(stdout);
    }

    void decoder(void* arg)
    {
        auto* pipeline = static_cast<Pipeline*>(arg);
        // The same event as the reader's, by name; the flags here are ignored.
        Kv::Ptr<iThreadEvent> request = OS()->threadMgr()->createEvent(true, true, "kvdemo.frameRequested");
        for (int frame = 1; frame <= 3; ++frame) {
            request->wait(iWaitable::kInfinite);
            ++pipeline->framesDecoded;
            char text[64];
            std::snprintf(text, sizeof text, "decoded frame %d", frame);
            say("decoder", text);
            pipeline->frameDecoded->set();
        }
        pipeline->videoReady->set();
    }

    void audio(void* arg)
    {
        auto* pipeline = static_cast<Pipeline*>(arg);
        OS()->threadMgr()->sleep(20);
        say("audio", "audio stream ready");
        pipeline->audioReady->set();
    }

    void mixer(void* arg)
    {
        auto* pipeline = static_cast<Pipeline*>(arg);
        const std::vector<Kv::Ptr<iThreadEvent>> both = {pipeline->videoReady, pipeline->audioReady};
        const WaitForEventsResult all = OS()->threadMgr()->waitForEvents(both, true, 5000);
        say("mixer", all.result == WaitSignalled ? "video and audio both ready: mixing" : "streams did not arrive");
        pipeline->mixed->set();
    }

    void watcher(void* arg)
    {
        auto* pipeline = static_cast<Pipeline*>(arg);
        const std::vector<Kv::Ptr<iThreadEvent>> either = {pipeline->cancelled, pipeline->mixed};
        const WaitForEventsResult any = OS()->threadMgr()->waitForEvents(either, false, 5000);
        say("watcher", any.result == WaitSignalled && any.index == 1 ? "the mix finished before any cancel"
                                                                     : "the import was cancelled");
    }

    Kv::Ptr<iThread> start(const char* name, void (*entry)(void*), Pipeline& pipeline)
    {
        iThread::InitArgs args;
        args.entry = entry;
        args.arg = &pipeline;
        args.name = name;
        return OS()->threadMgr()->createThread(args);
    }

    // The log carries the full date when the application is a "reelTale"
    // one: run this program once more under such a name to show that format.
    void showDatedLogFormat(const char* self)
    {
        char folder[] = "/tmp/kvdemo-XXXXXX";
        if (!mkdtemp(folder))
            return;
        const std::string alias = std::string(folder) + "/reelTaleDemo";
        const std::string copy = "cp '" + std::string(self) + "' '" + alias + "'";
        if (link(self, alias.c_str()) == 0 || std::system(copy.c_str()) == 0) {
            std::fflush(stdout);
            std::system(("'" + alias + "' --log-line").c_str());
            unlink(alias.c_str());
        }
        rmdir(folder);
    }
}

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--log-line") == 0) {
        utils()->log("the same log, as an application named reelTale... writes it\n", nullptr);
        return 0;
    }

    OS();
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    std::printf("kvdemo: the system object is built; this thread is now \"%s\"\n", name);
    utils()->log("a log line: the time alone, for an application named kvdemo\n", nullptr);
    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) > 0)
        showDatedLogFormat(self);

    Pipeline pipeline;
    std::printf("\nkvdemo: an import pipeline of named threads handing work on through events\n");
    fflush(stdout);
    Kv::Ptr<iThread> threads[] = {start("decoder", decoder, pipeline), start("audio", audio, pipeline),
                                  start("mixer", mixer, pipeline), start("watcher", watcher, pipeline)};
    for (int frame = 0; frame < 3; ++frame) {
        pipeline.frameRequested->set();
        pipeline.frameDecoded->wait(iWaitable::kInfinite);
    }
    for (auto& thread : threads)
        thread->waitForCompletion(iWaitable::kInfinite);

    const LightweightString<wchar_t> title = utils()->fromUTF8("Proxies \xE2\x86\x92 Montage \xF0\x9F\x8E\xAC", -1);
    std::printf("\nkvdemo: %d frames decoded by threads %u to %u; a title of %u characters survives UTF-8: %s\n",
                pipeline.framesDecoded, threads[0]->getID(), threads[3]->getID(), title.size(),
                utils()->toUTF8(title).c_str());
    return pipeline.framesDecoded == 3 ? 0 : 1;
}
