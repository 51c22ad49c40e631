#include "FileTestSupport.h"
#include "../HostRequired.h"
#include "Watchable.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <mutex>
#include <pthread.h>
#include <set>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

namespace
{
    // Generous: the machines that run this are small and loaded.
    constexpr auto kPatience = std::chrono::seconds(10);
    // How long a test listens for something that must not come.
    constexpr auto kQuietSpell = std::chrono::milliseconds(500);

    using Change = std::pair<std::wstring, int>;
    using Changes = std::vector<Change>;

    struct Batch
    {
        Changes changes;
        std::wstring folder;
        int status = 0;
        pid_t thread = 0;
        std::string threadName;
    };

    std::wstring asWide(const std::string& utf8) { return ScratchFolder::wide(utf8).c_str(); }

    // User and system clock ticks that a thread of this process has used.
    long cpuTicks(pid_t thread)
    {
        const std::string stat = ScratchFolder::read("/proc/self/task/" + std::to_string(thread) + "/stat");
        if (stat.rfind(')') == std::string::npos)
            return -1;
        std::istringstream fields(stat.substr(stat.rfind(')') + 2));
        std::string field;
        long ticks = 0;
        for (int index = 0; index <= 12 && fields >> field; ++index)
            ticks += index >= 11 ? std::stol(field) : 0;
        return ticks;
    }

    // A joined thread may linger in /proc for a moment.
    bool threadEnds(pid_t thread)
    {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (std::filesystem::exists("/proc/self/task/" + std::to_string(thread)))
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            else
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return true;
    }

    // Records every batch it is given. On request it keeps the watcher's
    // thread inside the next call until released, so that changes pile up.
    class RecordingHandler : public iWatchHandler
    {
    public:
        explicit RecordingHandler(std::atomic<bool>* destroyed = nullptr) : destroyed(destroyed) {}
        ~RecordingHandler() override
        {
            if (destroyed)
                *destroyed = true;
        }

        void handleWatchResult(const Kv::Ptr<iWatchable::Result>& result) override
        {
            Batch batch{{}, result->folder.c_str(), result->status, gettid(), std::string(16, 0)};
            for (const iWatchable::FileChangeInfo& info : result->changes)
                batch.changes.emplace_back(info.name.c_str(), info.change);
            pthread_getname_np(pthread_self(), batch.threadName.data(), 16);
            batch.threadName.resize(batch.threadName.find('\0'));

            std::unique_lock lock(mutex);
            batches.push_back(std::move(batch));
            holding = holdNext;
            holdNext = false;
            changed.notify_all();
            changed.wait(lock, [this] { return !holding; });
        }

        // Waits until the batches so far meet the condition; says whether they did.
        template <class Condition>
        bool waitUntil(Condition condition)
        {
            std::unique_lock lock(mutex);
            return changed.wait_for(lock, kPatience, [&] { return condition(batches); });
        }

        bool waitFor(const std::wstring& name)
        {
            return waitUntil([&](const std::vector<Batch>& batches) {
                for (const Batch& batch : batches)
                    for (const Change& change : batch.changes)
                        if (change.first == name)
                            return true;
                return false;
            });
        }

        void holdNextBatch()
        {
            std::lock_guard lock(mutex);
            holdNext = true;
        }
        bool waitUntilHolding() { return waitUntil([this](const std::vector<Batch>&) { return holding; }); }
        void release()
        {
            std::lock_guard lock(mutex);
            holding = false;
            changed.notify_all();
        }

        std::vector<Batch> received()
        {
            std::lock_guard lock(mutex);
            return batches;
        }

        // Every change of every batch, in the order of delivery.
        Changes changes()
        {
            Changes all;
            for (const Batch& batch : received())
                all.insert(all.end(), batch.changes.begin(), batch.changes.end());
            return all;
        }

    private:
        std::atomic<bool>* const destroyed;
        std::mutex mutex; // guards everything below
        std::condition_variable changed;
        std::vector<Batch> batches;
        bool holdNext = false;
        bool holding = false;
    };

    // Started again with KVOS_WATCH_PROBE naming a folder, this program
    // watches it, writes a file into it and ends, with 0 if nothing came a
    // moment later: a test runs it where inotify is out of reach.
    [[maybe_unused]] const bool watchProbe = [] {
        const char* watched = std::getenv("KVOS_WATCH_PROBE");
        if (!watched)
            return false;
        const Kv::Ptr<RecordingHandler> handler(new RecordingHandler);
        const Kv::Ptr<iWatchable> watcher(new Watchable(handler, ScratchFolder::wide(watched)));
        std::fflush(stdout);
        ScratchFolder::write(std::string(watched) + "/a.txt", "a");
        std::this_thread::sleep_for(kQuietSpell);
        const bool delivered = !handler->received().empty();
        std::_Exit(!delivered && ScratchFolder::narrow(watcher->getWatchedFolder()) == watched ? 0 : 1);
    }();

    // The usual watched folder is inside the scratch folder, so that items
    // can move in and out of it. Its name is not ASCII, to see that names
    // survive the trip through UTF-8.
    class WatchableTest : public ScratchFolder
    {
    protected:
        void SetUp() override
        {
            ScratchFolder::SetUp();
            watched = folder + "Vid\xC3\xA9os";
            std::filesystem::create_directory(watched);
        }

        Kv::Ptr<iWatchable> watch(const std::string& path) { return Kv::Ptr<iWatchable>(new Watchable(handler, wide(path))); }
        std::string in(const std::string& name) const { return watched + "/" + name; }
        std::wstring reported(const std::string& name) const { return asWide(in(name)); }

        std::string watched;
        Kv::Ptr<RecordingHandler> handler{new RecordingHandler};
    };
}

// While the handler holds the first batch, changes pile up; they come next as
// one batch, each name once, where it first showed, with all that happened to
// it: renamed and then removed is a removal. A created file shows only once
// something is written to it; a new folder at once. A rename shows under both
// names, and a move out of the folder stays a rename. Hidden names, deeper
// items and non-files are dropped. The folder is kept as given; reported
// names are whole paths all the same.
TEST_F(WatchableTest, ReportsTheChangesOfTheFolderItselfCoalescedOnTheWatchersThread)
{
    write(in("a.txt"), "a");
    write(in("c.txt"), "c");
    write(folder + "d.txt", "d");
    std::filesystem::create_directories(in("sub/deeper"));
    std::filesystem::create_directory(in("gone"));
    ASSERT_EQ(symlink("a.txt", (folder + "link").c_str()), 0);
    const Kv::Ptr<iWatchable> watcher = watch(watched + "/");
    EXPECT_EQ(narrow(watcher->getWatchedFolder()), watched + "/");
    handler->holdNextBatch();
    write(in("first.txt"), "1");
    ASSERT_TRUE(handler->waitUntilHolding());

    close(open(in("empty.txt").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
    write(in("new.txt"), "hello");
    std::filesystem::create_directory(in("made"));
    std::filesystem::rename(in("a.txt"), in("b.txt"));
    std::filesystem::remove(in("b.txt"));
    std::filesystem::rename(in("c.txt"), folder + "c.txt");
    std::filesystem::rename(folder + "d.txt", in("d.txt"));
    std::filesystem::remove(in("gone"));
    write(in(".hidden"), "h");
    write(in("sub/inner.txt"), "i");
    write(in("sub/deeper/x.txt"), "x");
    std::filesystem::rename(folder + "link", in("link"));
    write(in(".partial"), "p");
    std::filesystem::rename(in(".partial"), in("saved.txt"));
    std::filesystem::create_directory(in("last"));
    write(in("new.txt"), "again");
    handler->release();

    ASSERT_TRUE(handler->waitFor(reported("last")));
    std::this_thread::sleep_for(kQuietSpell);
    const std::vector<Batch> batches = handler->received();
    ASSERT_EQ(batches.size(), 2u);
    EXPECT_EQ(batches[0].changes, (Changes{{reported("first.txt"), 4}}));
    EXPECT_EQ(batches[1].changes,
              (Changes{{reported("new.txt"), 4}, {reported("made"), 4}, {reported("a.txt"), 6}, {reported("b.txt"), 3},
                       {reported("c.txt"), 6}, {reported("d.txt"), 6}, {reported("gone"), 3},
                       {reported("saved.txt"), 6}, {reported("last"), 4}}));
    for (const Batch& batch : batches) {
        EXPECT_EQ(batch.status, 10);
        EXPECT_EQ(batch.folder, asWide(watched + "/"));
        EXPECT_NE(batch.thread, gettid());
        EXPECT_EQ(batch.thread, batches[0].thread);
        EXPECT_EQ(batch.threadName, "kvst.filewatch");
    }
}

// A large copy into the folder comes in a handful of batches, not one for each
// file, and names every file once.
TEST_F(WatchableTest, GathersALargeCopyIntoAFewBatches)
{
    constexpr std::size_t kFiles = 2000;
    const Kv::Ptr<iWatchable> watcher = watch(watched);
    std::set<std::wstring> copied;
    for (std::size_t index = 0; index < kFiles; ++index) {
        write(in("copy" + std::to_string(index)), "data");
        copied.insert(reported("copy" + std::to_string(index)));
    }

    ASSERT_TRUE(handler->waitUntil([&](const std::vector<Batch>& batches) {
        std::size_t count = 0;
        for (const Batch& batch : batches)
            count += batch.changes.size();
        return count >= kFiles;
    }));
    std::this_thread::sleep_for(kQuietSpell);
    const Changes changes = handler->changes();
    EXPECT_EQ(changes.size(), kFiles);
    std::set<std::wstring> names;
    for (const auto& [name, change] : changes)
        names.insert(name);
    EXPECT_EQ(names, copied);
    EXPECT_LE(handler->received().size(), 5u);
}

// A missing folder is not watched even once it is made. A watched folder that
// goes, removed or moved away, is not reported itself, nor is what happens to
// it elsewhere; the watcher looks for it without spinning and watches it again
// once it is back.
TEST_F(WatchableTest, AFolderThatComesBackIsWatchedAgain)
{
    const Kv::Ptr<iWatchable> missing = watch(folder + "missing");
    std::filesystem::create_directory(folder + "missing");
    write(folder + "missing/a.txt", "a");

    const Kv::Ptr<iWatchable> watcher = watch(watched);
    const std::function<void()> waysToGo[] = {
        [&] { std::filesystem::remove_all(watched); },
        [&] {
            std::filesystem::rename(watched, folder + "moved");
            write(folder + "moved/late.txt", "l");
        },
    };
    std::set<Change> expected;
    for (std::size_t way = 0; way < std::size(waysToGo); ++way) {
        SCOPED_TRACE(way);
        const std::string before = "before" + std::to_string(way), after = "after" + std::to_string(way);
        write(in(before), "b");
        ASSERT_TRUE(handler->waitFor(reported(before)));
        const pid_t watcherThread = handler->received().back().thread;
        waysToGo[way]();
        const long ticksBefore = cpuTicks(watcherThread);
        std::this_thread::sleep_for(kQuietSpell);
        EXPECT_LE(cpuTicks(watcherThread) - ticksBefore, 2) << "no busy loop";

        std::filesystem::create_directory(watched);
        write(in(after), "a");
        ASSERT_TRUE(handler->waitFor(reported(after)));
        expected.insert({{reported(before), 4}, {reported(after), 4}});
    }
    expected.insert({reported("before0"), 3});
    const Changes changes = handler->changes();
    EXPECT_EQ(std::set<Change>(changes.begin(), changes.end()), expected);
}

// With no inotify instance or watch to be had, the watcher stands but delivers
// nothing, and says why in one log line.
TEST_F(WatchableTest, RunningOutOfInotifyLogsOneLineAndDeliversNothing)
{
    // The limits are those of a user namespace of the probe's own, not the
    // system-wide ones; a process with no descriptors to spare would starve
    // the sanitizers as well.
    REQUIRE_HOST(std::system("unshare --user --map-root-user true 2>/dev/null") == 0, "a user namespace");
    const std::string probe = std::filesystem::read_symlink("/proc/self/exe"), log = folder + "log";
    const std::pair<std::string, int> cases[] = {{"instances", EMFILE}, {"watches", ENOSPC}};
    for (const auto& [resource, error] : cases) {
        SCOPED_TRACE(resource);
        EXPECT_EQ(std::system(("unshare --user --map-root-user sh -c 'echo 0 > /proc/sys/user/max_inotify_" + resource +
                               " && KVOS_WATCH_PROBE=\"" + watched + "\" exec \"" + probe + "\"' > " + log)
                                  .c_str()),
                  0)
            << "it delivered something";
        const std::string logged = read(log);
        EXPECT_EQ(std::count(logged.begin(), logged.end(), '\n'), 1) << logged;
        EXPECT_TRUE(logged.ends_with(": Watchable : can't watch " + watched + " (" + strerror(error) + ")\n")) << logged;
    }
}

// Destruction ends the watcher's thread and lets go of the handler, whose
// last reference it held.
TEST_F(WatchableTest, DestructionWhileChangesFlowStopsDeliveryAndReleasesTheHandler)
{
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (unsigned round = 0; !stop; ++round) {
            const std::string name = in(std::string("f").append(std::to_string(round % 8)).append(".txt"));
            write(name, "data");
            unlink(name.c_str());
        }
    });

    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        std::atomic<bool> destroyed{false};
        Kv::Ptr<RecordingHandler> busy(new RecordingHandler(&destroyed));
        Kv::Ptr<iWatchable> watcher(new Watchable(busy, wide(watched)));
        ASSERT_TRUE(busy->waitUntil([](const std::vector<Batch>& batches) { return !batches.empty(); }));
        const pid_t watcherThread = busy->received()[0].thread;
        busy = nullptr;
        EXPECT_FALSE(destroyed);

        watcher = nullptr;
        EXPECT_TRUE(destroyed);
        EXPECT_TRUE(threadEnds(watcherThread));
    }

    stop = true;
    writer.join();
}
