#include "FileTestSupport.h"
#include "File.h"
#include "GioFile.h"

#include <atomic>
#include <sys/time.h>
#include <thread>
#include <vector>

namespace
{
    constexpr unsigned long long kTicks = 10000000;
}

using FileObject = ScratchFolder;

TEST_F(FileObject, ReadsWritesAndSeeks)
{
    const std::string path = make("clip.bin", "0123456789");
    Kv::Ptr<iFile> file = files()->openFile(wide(path), iFile::eAccessReadWrite, iFile::eOpenExisting,
                                            iFile::eShareNone, 0);
    ASSERT_TRUE(file);
    EXPECT_EQ(narrow(file->getFileName()), path);
    EXPECT_EQ(file->getSize(), 10u);
    char buffer[16] = {};
    EXPECT_EQ(file->readAt(4, buffer, 3), 3u);
    EXPECT_STREQ(buffer, "456");
    EXPECT_EQ(file->getPosition(), 7u);
    EXPECT_EQ(file->read(buffer, 16), 3u);
    EXPECT_EQ(file->read(buffer, 16), 0u) << "end of file";
    EXPECT_EQ(file->readAt(100, buffer, 4), 0u);
    char patch[] = "AB";
    EXPECT_TRUE(file->writeAt(2, patch, 2));
    EXPECT_TRUE(file->write(patch, 0));
    EXPECT_TRUE(file->positionAt(0));
    file = nullptr;
    EXPECT_EQ(read(path), "01AB456789");
}

TEST_F(FileObject, OpenBehaviours)
{
    const std::string existing = make("existing.txt", "keep");
    const auto open = [&](const std::string& path, unsigned access, iFile::eOpenBehaviour behaviour, unsigned flags = 0) {
        return files()->openFile(wide(path), access, behaviour, iFile::eShareNone, flags);
    };
    EXPECT_FALSE(open(existing, 2, iFile::eCreateNew));
    EXPECT_FALSE(open(folder + "missing.txt", 1, iFile::eOpenExisting));
    EXPECT_TRUE(open(folder + "always.txt", 2, iFile::eOpenAlways));
    EXPECT_TRUE(exists(folder + "always.txt"));
    EXPECT_TRUE(open(existing, 2, iFile::eCreateAlways));
    EXPECT_EQ(read(existing), "") << "emptied";
    // Access 0 reads.
    char byte = 0;
    Kv::Ptr<iFile> reader = open(make("read.txt", "r"), 0, iFile::eOpenExisting);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->read(&byte, 1), 1u);
    EXPECT_FALSE(reader->write(&byte, 1));
    EXPECT_EQ(reader->read(&byte, 1), 0u);

    Kv::Ptr<iFile> scratch = open(folder + "scratch.tmp", 3, iFile::eCreateNew, iFile::eDeleteOnClose);
    ASSERT_TRUE(scratch);
    EXPECT_TRUE(exists(folder + "scratch.tmp"));
    scratch = nullptr;
    EXPECT_FALSE(exists(folder + "scratch.tmp")) << "delete-on-close";
}

TEST_F(FileObject, FailedOpenStillHonoursDeleteOnClose)
{
    const std::string path = make("doomed.txt", "x");
    {
        File failed(wide(path), 2, iFile::eCreateNew, iFile::eShareNone, iFile::eDeleteOnClose);
        EXPECT_FALSE(failed.isOpen());
        EXPECT_EQ(failed.getSize(), 0u);
        EXPECT_EQ(failed.getTime(iFile::eTimeModified), 0u);
        EXPECT_EQ(failed.getPosition(), ~0ull);
        char byte;
        EXPECT_EQ(failed.read(&byte, 1), 0xFFFFFFFFu) << "a failed read is not end of file";
    }
    EXPECT_FALSE(exists(path));
}

TEST_F(FileObject, TimesAreWholeSecondsSetTogether)
{
    const std::string path = make("timed.txt", "t");
    Kv::Ptr<iFile> file = files()->openFile(wide(path), 3, iFile::eOpenExisting, iFile::eShareNone, 0);
    ASSERT_TRUE(file);
    const unsigned long long when = 1700000000ull * kTicks + 1234567;
    EXPECT_TRUE(file->setTime(iFile::eTimeModified, when));
    EXPECT_EQ(file->getTime(iFile::eTimeModified), 1700000000ull * kTicks);
    EXPECT_EQ(file->getTime(iFile::eTimeAccessed), 1700000000ull * kTicks) << "access set too";
    EXPECT_TRUE(file->setTime(iFile::eTimeAccessed, 1600000000ull * kTicks));
    EXPECT_EQ(file->getTime(iFile::eTimeModified), 1600000000ull * kTicks) << "modification set too";
    EXPECT_FALSE(file->setTime(iFile::eTimeChanged, when));
    EXPECT_GT(file->getTime(iFile::eTimeChanged), 1700000000ull * kTicks);
}

// Seek and transfer happen under one hold: readers at different places never
// disturb each other.
TEST_F(FileObject, ConcurrentReadAtKeepsItsPlace)
{
    std::string text(4096, 0);
    for (int i = 0; i < 4096; ++i)
        text[i] = char('a' + i % 26);
    Kv::Ptr<iFile> file = files()->openFile(wide(make("shared.bin", text)), 1, iFile::eOpenExisting,
                                            iFile::eShareRead, 0);
    ASSERT_TRUE(file);
    std::vector<std::thread> readers;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t)
        readers.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                const unsigned position = unsigned((i * 7 + t * 13) % 4000);
                char got[8];
                if (file->readAt(position, got, 8) != 8 || std::string(got, 8) != text.substr(position, 8))
                    ++wrong;
            }
        });
    for (auto& reader : readers)
        reader.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(FileObject, UriNamesOpenThroughGio)
{
    const std::string path = make("remote.txt", "hello gio");
    const std::string uri = "file://" + path;
    Kv::Ptr<iFile> file = files()->openFile(wide(uri), 2, iFile::eOpenExisting, iFile::eShareNone, 0);
    ASSERT_TRUE(file);
    EXPECT_NE(dynamic_cast<GioFile*>(file.get()), nullptr);
    EXPECT_EQ(file->getSize(), 9u);
    EXPECT_EQ(file->getPosition(), 0u) << "the size query goes back where it was";
    char buffer[16] = {};
    EXPECT_EQ(file->readAt(6, buffer, 10), 3u);
    EXPECT_STREQ(buffer, "gio");
    char word[] = "HELLO";
    EXPECT_TRUE(file->writeAt(0, word, 5));
    EXPECT_TRUE(file->setTime(iFile::eTimeModified, 1700000000ull * kTicks));
    EXPECT_EQ(file->getTime(iFile::eTimeModified), 1700000000ull * kTicks);
    EXPECT_EQ(file->getTime(iFile::eTimeAccessed), 1700000000ull * kTicks);
    file = nullptr;
    EXPECT_EQ(read(path), "HELLO gio");

    // Only the creating behaviours create, emptying what is there; it
    // ignores delete-on-close.
    const std::string fresh = "file://" + folder + "new.txt";
    for (const auto behaviour : {iFile::eOpenExisting, iFile::eOpenAlways})
        EXPECT_FALSE(files()->openFile(wide(fresh), 2, behaviour, iFile::eShareNone, 0)) << behaviour;
    EXPECT_FALSE(exists(folder + "new.txt"));
    EXPECT_TRUE(files()->openFile(wide(fresh), 2, iFile::eCreateNew, iFile::eShareNone, 0));
    EXPECT_FALSE(files()->openFile(wide(fresh), 2, iFile::eCreateNew, iFile::eShareNone, 0)) << "it exists now";
    EXPECT_TRUE(files()->openFile(wide(uri), 2, iFile::eCreateAlways, iFile::eShareNone, 0));
    EXPECT_EQ(read(path), "");
    write(path, "hello gio");
    EXPECT_TRUE(files()->openFile(wide(uri), 1, iFile::eOpenExisting, iFile::eShareNone, iFile::eDeleteOnClose));
    EXPECT_TRUE(exists(path));
}
