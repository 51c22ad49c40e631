// kvdemo: a tour of the library: the system object, the log in both of its
// line formats, named threads handing work to each other through events, and
// the files: drives, standard folders, settings and a watched folder.
#include "OS.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>
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

    // Hears what changes in the scratch folder, on the watcher's own thread.
    class ScratchWatcher : public iWatchHandler
    {
    public:
        void handleWatchResult(const Kv::Ptr<iWatchable::Result>& result) override
        {
            for (const iWatchable::FileChangeInfo& change : result->changes) {
                const char* what = change.change == iWatchable::eFileRemoved   ? "removed"
                                   : change.change == iWatchable::eFileRenamed ? "renamed"
                                                                               : "modified";
                std::printf("  watcher: %s %s\n", what, utils()->toUTF8(change.name).c_str());
            }
            std::fflush(stdout);
            batches->set();
        }

        Kv::Ptr<iThreadEvent> batches = OS()->threadMgr()->createEvent(false, false, nullptr);
    };

    std::string gigabytes(unsigned long long bytes)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f GB", double(bytes) / 1e9);
        return text;
    }

    void filesTour()
    {
        iFileManager* files = OS()->fileMgr();
        std::printf("\nkvdemo: drives\n");
        const std::pair<iDiskDrive::eType, const char*> kinds[] = {
            {iDiskDrive::eInternalDrive, "internal"}, {iDiskDrive::eRemovableDrive, "removable"},
            {iDiskDrive::eNetworkDrive, "network"}};
        for (const auto& [type, kind] : kinds) {
            std::vector<Kv::Ptr<iDiskDrive>> drives;
            files->getDiskDrives(type, drives);
            for (const Kv::Ptr<iDiskDrive>& drive : drives)
                std::printf("  %-9s %-28s %s free of %s\n", kind, utils()->toUTF8(drive->getPath()).c_str(),
                            gigabytes(drive->getFreeSpace()).c_str(), gigabytes(drive->getCapacity()).c_str());
        }

        std::printf("\nkvdemo: standard folders\n");
        const std::pair<iShell::eFolderLocation, const char*> folders[] = {
            {iShell::eHome, "home"}, {iShell::eDocuments, "documents"}, {iShell::eMovies, "movies"},
            {iShell::ePictures, "pictures"}, {iShell::eMusic, "music"}, {iShell::eDownloads, "downloads"},
            {iShell::eResources, "resources"}};
        for (const auto& [location, label] : folders)
            std::printf("  %-10s %s\n", label, utils()->toUTF8(OS()->shell()->getFolderLocation(location)).c_str());

        // A store of its own in a scratch home would need a second process: the
        // tour uses the user's global store and takes its value out again.
        Kv::Ptr<iSettings> settings = OS()->shell()->getSettings(iSettings::eGlobalSettings);
        settings->setValue("kvdemo.lastRun", "now", nullptr);
        std::printf("\nkvdemo: settings: wrote kvdemo.lastRun, read back \"%s\" from [Configuration]\n",
                    settings->getValue("kvdemo.lastRun", "missing", "Configuration").c_str());
        settings->removeValue("kvdemo.lastRun", nullptr);

        char scratch[] = "/tmp/kvdemo-watch-XXXXXX";
        if (!mkdtemp(scratch))
            return;
        std::printf("\nkvdemo: watching %s while a file there changes\n", scratch);
        std::fflush(stdout);
        Kv::Ptr<ScratchWatcher> watcher(new ScratchWatcher);
        const LightweightString<wchar_t> folder = utils()->fromUTF8(scratch, -1);
        Kv::Ptr<iWatchable> watch = files->createWatchable(watcher, folder);
        const LightweightString<wchar_t> clip = folder + L"/clip.txt";
        Kv::Ptr<iFile> file = files->openFile(clip, iFile::eAccessWrite, iFile::eCreateAlways, iFile::eShareNone, 0);
        char text[] = "take one";
        file->write(text, sizeof text - 1);
        file = Kv::Ptr<iFile>();
        watcher->batches->wait(2000);
        files->moveFile(clip, folder + L"/take1.txt", false);
        watcher->batches->wait(2000);
        files->deleteFile(folder + L"/take1.txt");
        watcher->batches->wait(2000);
        watch = Kv::Ptr<iWatchable>();
        files->deleteDirectory(folder);
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

    filesTour();

    const LightweightString<wchar_t> title = utils()->fromUTF8("Proxies \xE2\x86\x92 Montage \xF0\x9F\x8E\xAC", -1);
    std::printf("\nkvdemo: %d frames decoded by threads %u to %u; a title of %u characters survives UTF-8: %s\n",
                pipeline.framesDecoded, threads[0]->getID(), threads[3]->getID(), title.size(),
                utils()->toUTF8(title).c_str());
    return pipeline.framesDecoded == 3 ? 0 : 1;
}
