#include "FileManager.h"
#include "FileTestSupport.h"

#include <algorithm>
#include <climits>
#include <map>
#include <pwd.h>
#include <regex>

namespace
{
    using Listing = std::map<std::string, unsigned>;

    Listing listing(const std::string& pattern, bool includeFiles, bool includeDirectories)
    {
        std::vector<iFileManager::DirectoryItem> items;
        OS()->fileMgr()->getDirectoryContents(OS()->utils()->fromUTF8(pattern.c_str(), -1), items, includeFiles,
                                              includeDirectories);
        Listing byName;
        for (const auto& item : items)
            byName[OS()->utils()->toUTF8(item.name).c_str()] = item.attributes;
        return byName;
    }
}

using FileManagerFiles = ScratchFolder;

TEST(FileManager, KnowsTheRunningApplication)
{
    char path[PATH_MAX] = {};
    ASSERT_GT(readlink("/proc/self/exe", path, sizeof path - 1), 0);
    const std::string full = path;
    EXPECT_EQ(ScratchFolder::narrow(ScratchFolder::files()->getAppPath()), full.substr(0, full.rfind('/') + 1));
    EXPECT_EQ(ScratchFolder::narrow(ScratchFolder::files()->getAppName()), "kvos_files_tests");
    EXPECT_EQ(ScratchFolder::files()->getAppDescription(), L"kvos_files_tests");
}

TEST(FileManager, NetworkNamesAndPaths)
{
    EXPECT_EQ(FileManager::KvtoOS(L"//srv/x"), "smb://srv/x");
    EXPECT_EQ(FileManager::KvtoOS(L"//"), "smb://");
    EXPECT_EQ(FileManager::OStoKv("smb://srv/x"), L"/srv/x") << "not the inverse";
    EXPECT_EQ(FileManager::getPath(L"/media/a.mov"), L"/media/");
    EXPECT_EQ(FileManager::getPath(L"a.mov"), L"a.mov");
    EXPECT_TRUE(FileManager::isURI(L"sftp://host/x"));
    EXPECT_FALSE(FileManager::isURI(L"/a:/b"));
    EXPECT_TRUE(FileManager::extMatch("clip.MOV", ".mov"));
    EXPECT_FALSE(FileManager::extMatch(".mov", ".mov"));
    EXPECT_FALSE(FileManager::extMatch(nullptr, ".mov"));

    char host[256] = {};
    gethostname(host, sizeof host - 1);
    EXPECT_EQ(ScratchFolder::narrow(ScratchFolder::files()->getUniversalName(L"/share/clip.mov")),
              "smb:///" + std::string(host).substr(0, std::string(host).find('.')) + "/share/clip.mov");
}

TEST(FileManager, PatternsMatchWithoutBacktracking)
{
    const struct
    {
        const char* name;
        const char* pattern;
        bool matches;
    } cases[] = {{"a.tar.gz", "*.gz", true},
                 {"a.tar.gz", "*.tar", false}, // * before . binds to the last dot
                 {"abc", "abc*", false},       {"abcd", "ABC?", true},
                 {"aXb", "a*B", false}, // the search after * respects case
                 {"aXB", "a*B", true},         {"readme", "*", true},
                 {"readme", "*.txt", false},   {"", "*", false}};
    for (const auto& expected : cases)
        EXPECT_EQ(matchingFile(expected.name, expected.pattern), expected.matches) << expected.name << " " << expected.pattern;
}

TEST(FileManager, DatesAndTimesAsText)
{
    const auto text = [](iFileManager::eDateDisplay date, iFileManager::eTimeDisplay clock) {
        return ScratchFolder::narrow(ScratchFolder::files()->asString(1700000000ull * 10000000, date, clock));
    };
    const std::string date = text(iFileManager::eNoDate, iFileManager::eNoTime);
    EXPECT_TRUE(std::regex_match(date, std::regex(R"([A-Z][a-z]{2} \d\d, 2023)"))) << date;
    const std::string both = text(iFileManager::eShortDate, iFileManager::eShortTime);
    EXPECT_TRUE(std::regex_match(both, std::regex(date + R"( [ \d]\d:\d\d)"))) << both;
    const std::string joined = text(iFileManager::eNoDate, iFileManager::eShortTime);
    EXPECT_TRUE(std::regex_match(joined, std::regex(date + R"([ \d]\d:\d\d)"))) << joined << ": the date always leads";
    EXPECT_NEAR(double(ScratchFolder::files()->timeNow() / 10000000), double(time(nullptr)), 2.0);
}

TEST_F(FileManagerFiles, ListingsFollowTheirPattern)
{
    make("readme");
    make("notes.txt", "12345");
    make(".hidden");
    mkdir((folder + "Editor.app").c_str(), 0755);
    mkdir((folder + ".app").c_str(), 0755);
    mkdir((folder + "media").c_str(), 0755);
    symlink("notes.txt", (folder + "link").c_str());
    chmod((folder + "notes.txt").c_str(), 0444);

    using Attr = iFileManager::eAttributes;
    EXPECT_EQ(listing(folder + "*.*", true, false),
              Listing({{"readme", Attr::eAttrFile}, {"notes.txt", Attr::eAttrFile | Attr::eAttrReadOnly},
                       {".hidden", Attr::eAttrFile | Attr::eAttrHidden}, {"Editor.app", 0x21}}));
    EXPECT_EQ(listing(folder + "*.*", false, true),
              Listing({{".app", Attr::eAttrDirectory | Attr::eAttrHidden}, {"media", Attr::eAttrDirectory},
                       {"link", Attr::eAttrDirectory | Attr::eAttrReadOnly}}))
        << "a link counts as a folder, with the permissions of what it points at";
    EXPECT_EQ(listing(folder + "*.txt", true, true), Listing({{"notes.txt", Attr::eAttrFile | Attr::eAttrReadOnly}}));
    EXPECT_TRUE(listing(folder + "missing/*.*", true, true).empty());

    std::vector<iFileManager::DirectoryItem> items(1);
    files()->getDirectoryContents(wide(folder + "notes.*"), items, true, false);
    ASSERT_EQ(items.size(), 2u) << "appended";
    EXPECT_EQ(items[1].size, 5u);
    EXPECT_GT(items[1].modifiedTime, 0u);
}

TEST_F(FileManagerFiles, InfoAttributesAndExecutables)
{
    const std::string tool = folder + "tool";
    ASSERT_EQ(std::system(("cp /bin/true '" + tool + "'").c_str()), 0);
    const std::string script = make("script", "#!/bin/sh\n");
    chmod(script.c_str(), 0755);
    const std::string dotted = folder + "tool.bin";
    ASSERT_EQ(std::system(("cp /bin/true '" + dotted + "'").c_str()), 0);

    EXPECT_EQ(files()->getFileAttributes(wide(tool)), iFileManager::eAttrFile | iFileManager::eAttrExecutable);
    EXPECT_EQ(files()->getFileAttributes(wide(script)), unsigned(iFileManager::eAttrFile)) << "not an ELF image";
    EXPECT_EQ(files()->getFileAttributes(wide(dotted)), unsigned(iFileManager::eAttrFile)) << "a dotted name";
    EXPECT_EQ(files()->getInfo(wide(folder)).attributes, unsigned(iFileManager::eAttrDirectory));
    EXPECT_EQ(files()->getInfo(wide(folder + "none")).attributes, 0u);

    files()->setFileAttributes(wide(script), iFileManager::eAttrReadOnly);
    EXPECT_EQ(files()->getFileAttributes(wide(script)), iFileManager::eAttrFile | iFileManager::eAttrReadOnly);
    files()->setFileAttributes(wide(script), 0);
    EXPECT_EQ(files()->getFileAttributes(wide(script)), unsigned(iFileManager::eAttrFile));

    const passwd* me = getpwuid(getuid());
    EXPECT_EQ(narrow(files()->getOwner(wide(script))), me->pw_name);
    EXPECT_TRUE(files()->transferOwnership(wide(script)));
}

TEST_F(FileManagerFiles, CopiesWithProgressAndRefusals)
{
    std::string big(100000, 'x');
    big[77777] = 'y';
    const std::string source = make("source.bin", big);
    const std::string target = make("target.bin", "old");
    EXPECT_EQ(files()->copyFile(wide(source), wide(target), true, {}), iFileManager::eCopyExists);
    EXPECT_EQ(read(target), "old");
    EXPECT_EQ(files()->copyFile(wide(folder + "none"), wide(target), false, {}), iFileManager::eCopyFailed);

    struct Progress
    {
        std::vector<unsigned long long> done;
        unsigned long long total = 0;
        bool answer = true;
    } progress;
    iFileManager::ProgressCallback callback{[](void* context, unsigned long long done, unsigned long long total) {
                                                auto* seen = static_cast<Progress*>(context);
                                                seen->done.push_back(done);
                                                seen->total = total;
                                                return seen->answer;
                                            },
                                            &progress};
    EXPECT_EQ(files()->copyFile(wide(source), wide(target), false, callback), iFileManager::eCopyOk);
    EXPECT_EQ(read(target), big);
    EXPECT_EQ(progress.done, (std::vector<unsigned long long>{32768, 65536, 98304, 100000}));
    EXPECT_EQ(progress.total, 100000u);
    EXPECT_EQ(files()->getInfo(wide(target)).modifiedTime, files()->getInfo(wide(source)).modifiedTime);

    progress.answer = false;
    progress.done.clear();
    EXPECT_EQ(files()->copyFile(wide(source), wide(target), false, callback), iFileManager::eCopyCancelled);
    EXPECT_EQ(progress.done.size(), 1u);
    EXPECT_EQ(read(target).size(), 32768u) << "the partial copy stays";

    const std::string small = make("small.bin", "tiny");
    EXPECT_EQ(files()->copyFile(wide(small), wide(target), false, callback), iFileManager::eCopyOk)
        << "a refusal after the last chunk does not cancel";
    const std::string empty = make("empty.bin");
    EXPECT_EQ(files()->copyFile(wide(empty), wide(folder + "empty copy"), false, {}), iFileManager::eCopyOk);
    EXPECT_TRUE(exists(folder + "empty copy"));
}

TEST_F(FileManagerFiles, MovesDeletesAndFolders)
{
    const std::string a = make("a.txt", "a");
    const std::string b = make("b.txt", "b");
    EXPECT_FALSE(files()->moveFile(wide(a), wide(b), false));
    EXPECT_TRUE(files()->moveFile(wide(a), wide(b), true));
    EXPECT_EQ(read(b), "a");
    EXPECT_FALSE(exists(a));

    EXPECT_TRUE(files()->createDirectory(wide(folder + "sub")));
    EXPECT_FALSE(files()->createDirectory(wide(folder + "x/y"))) << "one level only";
    EXPECT_TRUE(files()->fileExists(wide(folder + "sub")));
    EXPECT_FALSE(files()->fileExists(L""));
    EXPECT_FALSE(files()->openDirectory(wide(folder + "sub"))) << "folders refuse read-write opens";
    EXPECT_TRUE(files()->deleteDirectory(wide(folder + "sub")));
    EXPECT_TRUE(files()->deleteFile(wide(b)));
    EXPECT_FALSE(files()->deleteFile(wide(b)));
}

TEST_F(FileManagerFiles, TouchProbesAndTemporaryNames)
{
    const std::string path = make("touched.txt");
    const timeval old[2] = {{1000000000, 0}, {1000000000, 0}};
    utimes(path.c_str(), old);
    EXPECT_TRUE(files()->touchFile(wide(path), iFile::eTimeModified));
    EXPECT_NEAR(double(files()->getInfo(wide(path)).modifiedTime / 10000000), double(time(nullptr)), 2.0);
    EXPECT_FALSE(files()->touchFile(wide(folder + "none"), iFile::eTimeModified));

    EXPECT_TRUE(files()->isWritable(wide(folder)));
    EXPECT_FALSE(exists(folder + ".WriteTest")) << "the probe removes itself";
    make(".WriteTest");
    EXPECT_FALSE(files()->isWritable(wide(folder))) << "a stale probe answers no";

    // As tempnam picks them: TMPDIR where it is a folder, "file" for no prefix.
    const char* tmpdir = std::getenv("TMPDIR");
    const std::string saved = tmpdir ? tmpdir : "";
    const struct
    {
        const char* tmpdir;
        const wchar_t* prefix;
        std::string pattern;
    } names[] = {{nullptr, L"kvclip", "/tmp/kvcli"}, {folder.c_str(), L"", folder + "file"},
                 {"/nonexistent", L"x", "/tmp/x"}};
    for (const auto& name : names) {
        name.tmpdir ? setenv("TMPDIR", name.tmpdir, 1) : unsetenv("TMPDIR");
        const std::string temp = narrow(files()->getTempFileName(name.prefix));
        EXPECT_TRUE(std::regex_match(temp, std::regex(name.pattern + "[A-Za-z0-9]{6}"))) << temp;
        EXPECT_FALSE(exists(temp));
    }
    tmpdir ? setenv("TMPDIR", saved.c_str(), 1) : unsetenv("TMPDIR");
}

// Onto a URI the copy leaves exactly the source's bytes; onto itself, under
// any name, it is refused before anything is touched.
TEST_F(FileManagerFiles, CopiesOntoURIsAndOntoThemselves)
{
    const std::string source = make("short.txt", "new");
    const std::string target = make("long.txt", "old and longer");
    const std::string targetURI = "file://" + target;
    EXPECT_TRUE(files()->fileExists(wide(targetURI)));
    EXPECT_EQ(files()->copyFile(wide(source), wide(targetURI), true, {}), iFileManager::eCopyExists);
    EXPECT_EQ(files()->copyFile(wide(source), wide(targetURI), false, {}), iFileManager::eCopyOk);
    EXPECT_EQ(read(target), "new");
    EXPECT_EQ(files()->copyFile(wide(source), wide("file://" + folder + "fresh.txt"), false, {}), iFileManager::eCopyOk);
    EXPECT_EQ(read(folder + "fresh.txt"), "new");
    EXPECT_TRUE(files()->deleteFile(wide(targetURI)));
    EXPECT_FALSE(exists(target));
    EXPECT_FALSE(files()->fileExists(wide(targetURI)));

    ASSERT_EQ(link(source.c_str(), (folder + "hard link").c_str()), 0);
    for (const std::string& same : {source, "file://" + source, folder + "hard link", folder + "./short.txt"}) {
        SCOPED_TRACE(same);
        EXPECT_EQ(files()->copyFile(wide(source), wide(same), false, {}), iFileManager::eCopyFailed);
        EXPECT_EQ(read(source), "new");
    }
}
