#include "EffectCache.h"

#include <gtest/gtest.h>

#include <glib.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <fstream>

namespace {

class EffectCacheTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char folderTemplate[] = "/tmp/kvfx-cache-test-XXXXXX";
        ASSERT_NE(g_mkdtemp(folderTemplate), nullptr);
        folder_ = std::string(folderTemplate) + "/";
    }

    void TearDown() override { std::filesystem::remove_all(folder_); }

    // A file in the cache folder last modified `age` ago.
    void write(const std::string& name, std::chrono::seconds age)
    {
        std::ofstream(folder_ + name) << "bytes";
        timespec times[2]{};
        ::clock_gettime(CLOCK_REALTIME, &times[0]);
        times[0].tv_sec -= age.count();
        times[1] = times[0];
        ASSERT_EQ(::utimensat(AT_FDCWD, (folder_ + name).c_str(), times, 0), 0);
    }

    std::chrono::seconds age(const std::string& name) const
    {
        struct stat status{};
        if (::stat((folder_ + name).c_str(), &status) != 0)
            return std::chrono::seconds(-1);
        return std::chrono::seconds(std::time(nullptr) - status.st_mtim.tv_sec);
    }

    bool exists(const std::string& name) const { return std::filesystem::exists(folder_ + name); }

    std::string folder_;
};

using namespace std::chrono_literals;

constexpr std::chrono::hours kDay{24};

TEST_F(EffectCacheTest, LoadingAnEntryMakesItRecentlyUsed)
{
    const std::string key = EffectCache::keyOf({"source"});
    write(key + ".kvfx", 30 * kDay);
    const EffectCache cache(folder_);
    EXPECT_EQ(cache.load(key), "bytes");
    EXPECT_LT(age(key + ".kvfx"), 1min);
}

TEST_F(EffectCacheTest, FirstStoreDeletesOnlyLongUnusedEntriesAndStaleTemporaries)
{
    ASSERT_EQ(EffectCache::kUnusedLifetime, 60 * kDay);
    const std::string old = EffectCache::keyOf({"old"});
    const std::string used = EffectCache::keyOf({"used"});
    const std::string leftBehind = EffectCache::keyOf({"left behind"});
    const std::string writing = EffectCache::keyOf({"writing"});
    write(old + ".kvfx", 61 * kDay);
    write(used + ".kvfx", 59 * kDay);
    write(leftBehind + ".Ab12xY", 2h);
    write(writing + ".Cd34zW", 10min);
    // Names that are not ours, however old.
    write("notes.txt", 400 * kDay);
    write(old.substr(1) + ".kvfx", 400 * kDay);
    write(old + ".kvfx.bak", 400 * kDay);

    const EffectCache cache(folder_);
    const std::string fresh = EffectCache::keyOf({"fresh"});
    ASSERT_TRUE(cache.store(fresh, "new"));
    EXPECT_EQ(cache.load(fresh), "new");
    EXPECT_FALSE(exists(old + ".kvfx"));
    EXPECT_FALSE(exists(leftBehind + ".Ab12xY"));
    for (const std::string& kept : {used + ".kvfx", writing + ".Cd34zW", std::string("notes.txt"),
                                    old.substr(1) + ".kvfx", old + ".kvfx.bak"})
        EXPECT_TRUE(exists(kept)) << kept;

    // Once per process: a later store leaves even an old entry alone.
    write(used + ".kvfx", 90 * kDay);
    ASSERT_TRUE(cache.store(EffectCache::keyOf({"later"}), "later"));
    EXPECT_TRUE(exists(used + ".kvfx"));
}

} // namespace
