#include "OS.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace
{
    const std::string kPluginPath = KVOS_TEST_PLUGIN;
    const std::string kFailurePrefix = "DynDLL::DynDLL() : dlopen failed (";
    using PluginFunction = int (*)(int);

    std::string readFile(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }

    void writeFile(const std::string& path, const std::string& bytes)
    {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    }

    LightweightString<wchar_t> wide(const std::string& utf8) { return OS()->utils()->fromUTF8(utf8.c_str(), -1); }

    Kv::Ptr<iDLL> openDLL(const std::string& path) { return OS()->fileMgr()->openDLL(wide(path)); }

    std::string bytesOf(const iDLL::Resource& resource)
    {
        return resource.data ? std::string(reinterpret_cast<const char*>(resource.data.get()), resource.size) : std::string();
    }

    bool isEmpty(const iDLL::Resource& resource) { return !resource.data && resource.size == 0; }

    // One entry, DATA#5 = "payload", byte by byte as the store's reader documents it.
    const std::string kHandMadeStore = std::string("KVRS"
                                                   "\x01\x00\x00\x00"  // version
                                                   "\x01\x00\x00\x00"  // count
                                                   "ATAD"              // 'DATA', little-endian
                                                   "\x05\x00\x00\x00"  // id 5, reserved
                                                   "\x07\x00\x00\x00"  // size
                                                   "\x1C\x00\x00\x00"  // offset 28
                                                   "payload",
                                                   35);

    std::string withBytes(std::string store, size_t at, const std::string& bytes)
    {
        return store.replace(at, bytes.size(), bytes);
    }

    // Each case gets a copy of the real plug-in in a folder of its own.
    class DynDLLTest : public testing::Test
    {
    protected:
        void SetUp() override
        {
            char pattern[] = "/tmp/kvos-dll-XXXXXX";
            ASSERT_NE(mkdtemp(pattern), nullptr);
            folder = pattern;
        }

        void TearDown() override { std::filesystem::remove_all(folder); }

        std::string copyOfPlugin(const std::string& relativePath)
        {
            const std::string path = folder + "/" + relativePath;
            std::filesystem::create_directories(std::filesystem::path(path).parent_path());
            std::filesystem::copy_file(kPluginPath, path);
            return path;
        }

        std::string folder;
    };
}

TEST_F(DynDLLTest, LoadsALibraryAndCallsItsFunctions)
{
    testing::internal::CaptureStdout();
    Kv::Ptr<iDLL> library = openDLL(kPluginPath);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    ASSERT_TRUE(library->valid());
    EXPECT_TRUE(library->getFilename() == wide(kPluginPath).c_str());
    auto twiceAndOne = reinterpret_cast<PluginFunction>(library->getFunction("kvosTestPluginTwiceAndOne"));
    ASSERT_NE(twiceAndOne, nullptr);
    EXPECT_EQ(twiceAndOne(21), 43);
    EXPECT_TRUE(library->containsFunction("kvosTestPluginTwiceAndOne"));

    EXPECT_EQ(library->getFunction("noSuchFunction"), nullptr);
    EXPECT_FALSE(library->containsFunction("noSuchFunction"));
}

TEST_F(DynDLLTest, ReleasingTheLastPointerUnloadsTheLibrary)
{
    const std::string path = copyOfPlugin("Unloaded.so");
    Kv::Ptr<iDLL> library = openDLL(path);
    ASSERT_TRUE(library->valid());
    void* stillThere = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    ASSERT_NE(stillThere, nullptr);
    dlclose(stillThere);

    library = nullptr;
    EXPECT_EQ(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD), nullptr);
}

TEST_F(DynDLLTest, NonAsciiNamesReachTheLoaderAsUTF8)
{
    const std::string path = copyOfPlugin("Plug-in \xC3\xBCn\xC3\xAF.so");
    writeFile(folder + "/Plug-in \xC3\xBCn\xC3\xAF.rsrc", kHandMadeStore);

    Kv::Ptr<iDLL> library = openDLL(path);
    ASSERT_TRUE(library->valid());
    EXPECT_TRUE(library->containsFunction("kvosTestPluginTwiceAndOne"));
    EXPECT_EQ(bytesOf(library->getResource(L"DATA", L"#5")), "payload");
}

TEST_F(DynDLLTest, MissingLibraryIsInvalidAndSaysWhy)
{
    const std::string path = folder + "/NoSuchLibrary.so";
    testing::internal::CaptureStdout();
    Kv::Ptr<iDLL> library = openDLL(path);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              kFailurePrefix + path + ": cannot open shared object file: No such file or directory)\n");

    EXPECT_FALSE(library->valid());
    EXPECT_TRUE(library->getFilename() == wide(path).c_str());
    EXPECT_EQ(library->getFunction("kvosTestPluginTwiceAndOne"), nullptr);
    EXPECT_FALSE(library->containsFunction("kvosTestPluginTwiceAndOne"));
    EXPECT_TRUE(isEmpty(library->getResource(L"TEXT", L"#128")));
}

TEST_F(DynDLLTest, FileThatIsNoLibraryIsInvalidAndSaysWhy)
{
    const std::string path = folder + "/NotALibrary.so";
    writeFile(path, std::string(200, 'x'));
    testing::internal::CaptureStdout();
    Kv::Ptr<iDLL> library = openDLL(path);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kFailurePrefix + path + ": invalid ELF header)\n");
    EXPECT_FALSE(library->valid());
    EXPECT_EQ(library->getFunction("kvosTestPluginTwiceAndOne"), nullptr);
}

TEST_F(DynDLLTest, EmptyNameLoadsNothing)
{
    testing::internal::CaptureStdout();
    Kv::Ptr<iDLL> library = openDLL("");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kFailurePrefix + ")\n");
    EXPECT_FALSE(library->valid());
    // The program itself exports this, so a wrongly opened "" would find it.
    EXPECT_EQ(library->getFunction("OS"), nullptr);
}

TEST_F(DynDLLTest, PluginFolderLoadsTheLibraryInsideWithItsResources)
{
    copyOfPlugin("Sample.plugin/Sample.so");
    writeFile(folder + "/Sample.plugin/Sample.rsrc", kHandMadeStore);

    for (const std::string& name : {folder + "/Sample.plugin", folder + "/Sample.plugin/"}) {
        testing::internal::CaptureStdout();
        Kv::Ptr<iDLL> library = openDLL(name);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << name;
        ASSERT_TRUE(library->valid()) << name;
        auto twiceAndOne = reinterpret_cast<PluginFunction>(library->getFunction("kvosTestPluginTwiceAndOne"));
        ASSERT_NE(twiceAndOne, nullptr) << name;
        EXPECT_EQ(twiceAndOne(-1), -1);
        EXPECT_EQ(bytesOf(library->getResource(L"DATA", L"#5")), "payload") << name;
    }
}

TEST_F(DynDLLTest, PluginFolderWithoutItsLibraryIsInvalid)
{
    copyOfPlugin("Sample.plugin/Other.so");
    testing::internal::CaptureStdout();
    Kv::Ptr<iDLL> library = openDLL(folder + "/Sample.plugin");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              kFailurePrefix + folder + "/Sample.plugin: cannot read file data: Is a directory)\n");
    EXPECT_FALSE(library->valid());
}

TEST_F(DynDLLTest, ResourcesAreFoundByTypeAndNumber)
{
    Kv::Ptr<iDLL> library = openDLL(kPluginPath);
    const std::string source = readFile(KVOS_TEST_PLUGIN_SOURCE);
    const std::string greeting = readFile(KVOS_TEST_PLUGIN_GREETING);
    ASSERT_FALSE(source.empty());

    const iDLL::Resource text = library->getResource(L"TEXT", L"#128");
    EXPECT_EQ(text.size, source.size());
    EXPECT_EQ(bytesOf(text), source);
    EXPECT_EQ(bytesOf(library->getResource(L"STR", L"#-2")), greeting);

    // A type counts by its first four bytes, and the number by its low 16 bits.
    EXPECT_EQ(bytesOf(library->getResource(L"TEXTURE", L"#128")), source);
    EXPECT_EQ(bytesOf(library->getResource(L"TEXT", L"#65664")), source);
    EXPECT_EQ(bytesOf(library->getResource(L"STR", L"#65534")), greeting);

    EXPECT_FALSE(library->containsResource(L"TEXT", L"#128"));
    EXPECT_FALSE(library->containsResource(L"STR", L"#-2"));
}

TEST_F(DynDLLTest, MissingResourcesAreEmpty)
{
    Kv::Ptr<iDLL> library = openDLL(kPluginPath);
    EXPECT_TRUE(isEmpty(library->getResource(L"TEXT", L"#129")));
    EXPECT_TRUE(isEmpty(library->getResource(L"TXT", L"#128")));
    // A short type is padded with zero bytes, not spaces.
    EXPECT_TRUE(isEmpty(library->getResource(L"STR ", L"#-2")));
    EXPECT_TRUE(isEmpty(library->getResource(L"", L"#128")));
    for (const wchar_t* name : {L"Main", L"128", L"#", L"", L"#x"})
        EXPECT_TRUE(isEmpty(library->getResource(L"TEXT", name))) << name;
}

TEST_F(DynDLLTest, LibraryWithoutAStoreHasNoResources)
{
    Kv::Ptr<iDLL> library = openDLL(copyOfPlugin("Bare.so"));
    ASSERT_TRUE(library->valid());
    EXPECT_TRUE(isEmpty(library->getResource(L"TEXT", L"#128")));
}

TEST_F(DynDLLTest, DamagedStoresHaveNoResources)
{
    Kv::Ptr<iDLL> library = openDLL(copyOfPlugin("Damaged.so"));
    const std::string store = folder + "/Damaged.rsrc";
    writeFile(store, kHandMadeStore);
    ASSERT_EQ(bytesOf(library->getResource(L"DATA", L"#5")), "payload");

    const std::vector<std::pair<const char*, std::string>> damaged = {
        {"empty", ""},
        {"cut header", kHandMadeStore.substr(0, 10)},
        {"cut entry", kHandMadeStore.substr(0, 20)},
        {"cut data", kHandMadeStore.substr(0, 34)},
        {"wrong magic", withBytes(kHandMadeStore, 0, "KVRZ")},
        {"other version", withBytes(kHandMadeStore, 4, std::string("\x02\x00\x00\x00", 4))},
        {"count beyond the end", withBytes(kHandMadeStore, 8, std::string("\xFF\xFF\xFF\xFF", 4))},
        {"huge size", withBytes(kHandMadeStore, 20, std::string("\xF0\xFF\xFF\xFF", 4))},
        {"offset beyond the end", withBytes(kHandMadeStore, 24, std::string("\xF0\xFF\xFF\xFF", 4))},
        {"offset into the entries", withBytes(kHandMadeStore, 24, std::string("\x0C\x00\x00\x00", 4))},
    };
    for (const auto& [what, bytes] : damaged) {
        writeFile(store, bytes);
        EXPECT_TRUE(isEmpty(library->getResource(L"DATA", L"#5"))) << what;
    }

    // Neither a folder nor a FIFO in the store's place may hang or crash.
    std::filesystem::remove(store);
    std::filesystem::create_directory(store);
    EXPECT_TRUE(isEmpty(library->getResource(L"DATA", L"#5")));
    std::filesystem::remove(store);
    ASSERT_EQ(mkfifo(store.c_str(), 0600), 0);
    EXPECT_TRUE(isEmpty(library->getResource(L"DATA", L"#5")));
}
