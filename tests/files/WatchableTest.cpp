#include "OS.h"
#include "Watchable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <pthread.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{
    // Generous: the machines that run this are small and loaded.
    constexpr auto kPatience = std::chrono::seconds(10);
    // How long a test listens for something that must not come.
    constexpr auto kQuietSpell = std::chrono::milliseconds(500);

    using Change = std::pair<std::wstring, int>;

    struct Batch
    {
        std::vector<Change> changes;
        std::wstring folder;
        int status = 0;
        pid_t thread = 0;
        std::string threadName;
    };

    std::wstring wide(const LightweightString<wchar_t>& text) { return std::wstring(text.c_str(), text.size()); }

    // Test paths are ASCII apart from the names of the one test that says so.
    std::wstring wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

    void writeFile(const std::string& path, const char* text) { std::ofstream(path) << text; }

    void createEmptyFile(const std::string& path) { close(open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644)); }

    // User and system clock ticks that a thread of this process has used.
    long cpuTicks(pid_t thread)
    {
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::string stat((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        if (stat.rfind(')') == std::string::npos)
            return -1;
        std::istringstream fields(stat.substr(stat.rfind(')') + 2));
        std::string field;
        long ticks = 0;
        for (int index = 0; index <= 12 && fields >> field; ++index)
            if (index >= 11)
                ticks += std::stol(field);
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
            Batch batch;
            for (const iWatchable::FileChangeInfo& info : result->changes)
                batch.changes.emplace_back(wide(info.name), info.change);
            batch.folder = wide(result->folder);
            batch.status = result->status;
            batch.thread = gettid();
            char name[16] = {};
            pthread_getname_np(pthread_self(), name, sizeof name);
            batch.threadName = name;

            std::unique_lock lock(mutex);
            batches.push_back(std::move(batch));
            if (holdNext) {
                holdNext = false;
                holding = true;
                changed.notify_all();
                changed.wait(lock, [this] { return !holding; });
            }
            changed.notify_all();
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

        bool waitUntilHolding()
        {
            std::unique_lock lock(mutex);
            return changed.wait_for(lock, kPatience, [this] { return holding; });
        }

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
        std::vector<Change> changes()
        {
            std::vector<Change> all;
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

    class WatchableTest : public testing::Test
    {
    protected:
        void SetUp() override
        {
            char pattern[] = "/tmp/kvwatch.XXXXXX";
            ASSERT_NE(mkdtemp(pattern), nullptr);
            root = pattern;
            folder = root + "/watched";
            std::filesystem::create_directory(folder);
        }

        void TearDown() override { std::filesystem::remove_all(root); }

        Kv::Ptr<iWatchable> watch(const std::string& path)
        {
            return Kv::Ptr<iWatchable>(new Watchable(handler, LightweightString<wchar_t>(wide(path).c_str())));
        }

        std::string in(const std::string& name) const { return folder + "/" + name; }
        std::wstring reported(const std::string& name) const { return wide(in(name)); }

        std::string root;   // removed with everything in it
        std::string folder; // the usual watched folder, inside root
        Kv::Ptr<RecordingHandler> handler = Kv::Ptr<RecordingHandler>(new RecordingHandler);
    };
}

// A created file shows only once something is written to it; a new folder
// shows at once.
TEST_F(WatchableTest, ReportsWrittenFilesAndNewFoldersAsModified)
{
    const Kv::Ptr<iWatchable> watcher = watch(folder);
    createEmptyFile(in("empty.txt"));
    writeFile(in("a.txt"), "hello");
    std::filesystem::create_directory(in("sub"));

    ASSERT_TRUE(handler->waitFor(reported("sub")));
    EXPECT_EQ(handler->changes(), (std::vector<Change>{{reported("a.txt"), 4}, {reported("sub"), 4}}));
    for (const Batch& batch : handler->received()) {
        EXPECT_EQ(batch.status, 10);
        EXPECT_EQ(batch.folder, wide(folder));
    }
}

TEST_F(WatchableTest, ReportsRenamesUnderBothNamesAndDeletionsAsRemoved)
{
    writeFile(in("a.txt"), "a");
    writeFile(in("c.txt"), "c");
    writeFile(root + "/d.txt", "d");
    std::filesystem::create_directory(in("sub"));
    const Kv::Ptr<iWatchable> watcher = watch(folder);

    std::filesystem::rename(in("a.txt"), in("b.txt"));
    std::filesystem::remove(in("b.txt"));
    std::filesystem::rename(in("c.txt"), root + "/c.txt"); // out of the folder
    std::filesystem::rename(root + "/d.txt", in("d.txt")); // into it
    std::filesystem::remove(in("sub"));

    ASSERT_TRUE(handler->waitFor(reported("sub")));
    EXPECT_EQ(handler->changes(), (std::vector<Change>{{reported("a.txt"), 6},
                                                       {reported("b.txt"), 6},
                                                       {reported("b.txt"), 3},
                                                       {reported("c.txt"), 6},
                                                       {reported("d.txt"), 6},
                                                       {reported("sub"), 3}}));
}

// Changes arrive in order, so nothing that was dropped can still come after
// the last folder made here.
TEST_F(WatchableTest, DropsHiddenNamesDeeperItemsAndNonFiles)
{
    std::filesystem::create_directories(in("sub/deeper"));
    ASSERT_EQ(symlink("a.txt", (root + "/link").c_str()), 0);
    const Kv::Ptr<iWatchable> watcher = watch(folder);

    writeFile(in(".hidden"), "h");
    writeFile(in("sub/inner.txt"), "i");
    writeFile(in("sub/deeper/x.txt"), "x");
    std::filesystem::create_directory(in("sub/deeper/more"));
    std::filesystem::rename(root + "/link", in("link"));
    writeFile(in(".partial"), "p");
    std::filesystem::rename(in(".partial"), in("saved.txt"));
    std::filesystem::create_directory(in("last"));

    ASSERT_TRUE(handler->waitFor(reported("last")));
    EXPECT_EQ(handler->changes(), (std::vector<Change>{{reported("saved.txt"), 6}, {reported("last"), 4}}));
}

// While the handler is busy the changes wait in the kernel; the next read
// takes all of them, and they reach the handler as one result.
TEST_F(WatchableTest, DeliversChangesThatPiledUpAsOneBatchOnTheWatchersThread)
{
    const Kv::Ptr<iWatchable> watcher = watch(folder);
    handler->holdNextBatch();
    writeFile(in("first.txt"), "1");
    ASSERT_TRUE(handler->waitUntilHolding());
    writeFile(in("a.txt"), "a");
    writeFile(in(".hidden"), "h");
    writeFile(in("b.txt"), "b");
    std::filesystem::create_directory(in("c"));
    handler->release();

    ASSERT_TRUE(handler->waitFor(reported("c")));
    const std::vector<Batch> batches = handler->received();
    ASSERT_EQ(batches.size(), 2u);
    EXPECT_EQ(batches[0].changes, (std::vector<Change>{{reported("first.txt"), 4}}));
    EXPECT_EQ(batches[1].changes,
              (std::vector<Change>{{reported("a.txt"), 4}, {reported("b.txt"), 4}, {reported("c"), 4}}));
    EXPECT_NE(batches[0].thread, gettid());
    EXPECT_EQ(batches[1].thread, batches[0].thread);
    EXPECT_EQ(batches[0].threadName, "kvst.filewatch");
}

// The folder is kept as given; reported names are whole paths in either case,
// and non-ASCII names survive the trip through UTF-8.
TEST_F(WatchableTest, KeepsTheFolderAsGivenAndReportsWholePaths)
{
    const std::string accented = root + "/Vid\xC3\xA9os";
    std::filesystem::create_directory(accented);
    const LightweightString<wchar_t> given((wide(root) + L"/Vid\u00e9os/").c_str());
    const Kv::Ptr<iWatchable> watcher(new Watchable(handler, given));
    EXPECT_EQ(wide(watcher->getWatchedFolder()), wide(given));
    EXPECT_EQ(wide(watch(folder)->getWatchedFolder()), wide(folder));

    writeFile(accented + "/cl\xC3\xA9.txt", "k");

    const std::wstring expected = wide(root) + L"/Vid\u00e9os/cl\u00e9.txt";
    ASSERT_TRUE(handler->waitFor(expected));
    const std::vector<Batch> batches = handler->received();
    EXPECT_EQ(batches[0].changes, (std::vector<Change>{{expected, 4}}));
    EXPECT_EQ(batches[0].folder, wide(given));
}

TEST_F(WatchableTest, MissingFolderDeliversNothing)
{
    const std::string missing = root + "/missing";
    const Kv::Ptr<iWatchable> watcher = watch(missing);
    EXPECT_EQ(wide(watcher->getWatchedFolder()), wide(missing));

    // Made after the fact, it is still not watched.
    std::filesystem::create_directory(missing);
    writeFile(missing + "/a.txt", "a");
    std::this_thread::sleep_for(kQuietSpell);
    EXPECT_TRUE(handler->received().empty());
}

// The folder's own removal is not reported, and its watch does not follow the
// name to a new folder; the watcher's thread then sleeps until destruction.
TEST_F(WatchableTest, DeletedWatchedFolderEndsTheWatchQuietly)
{
    writeFile(in("x.txt"), "x");
    Kv::Ptr<iWatchable> watcher = watch(folder);
    std::filesystem::remove(in("x.txt"));
    std::filesystem::remove(folder);
    ASSERT_TRUE(handler->waitFor(reported("x.txt")));
    const pid_t watcherThread = handler->received()[0].thread;

    std::filesystem::create_directory(folder);
    writeFile(in("y.txt"), "y");
    const long ticksBefore = cpuTicks(watcherThread);
    std::this_thread::sleep_for(kQuietSpell);
    EXPECT_LE(cpuTicks(watcherThread) - ticksBefore, 2);
    EXPECT_EQ(handler->changes(), (std::vector<Change>{{reported("x.txt"), 3}}));

    watcher = nullptr;
    EXPECT_TRUE(threadEnds(watcherThread));
}

// Destruction ends the watcher's thread and lets go of the handler, whose
// last reference it held.
TEST_F(WatchableTest, DestructionWhileChangesFlowStopsDeliveryAndReleasesTheHandler)
{
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (unsigned round = 0; !stop; ++round) {
            std::string leaf = "f";
            leaf.append(std::to_string(round % 8)).append(".txt");
            const std::string name = in(leaf);
            writeFile(name, "data");
            unlink(name.c_str());
        }
    });

    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        std::atomic<bool> destroyed{false};
        Kv::Ptr<RecordingHandler> busy(new RecordingHandler(&destroyed));
        Kv::Ptr<iWatchable> watcher(new Watchable(busy, LightweightString<wchar_t>(wide(folder).c_str())));
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
