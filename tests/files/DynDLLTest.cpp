#include "FileTestSupport.h"

#include <dlfcn.h>
#include <filesystem>
#include <vector>

namespace
{
    const std::string kPluginPath = KVOS_TEST_PLUGIN;
    const char* const kFunction = "kvosTestPluginTwiceAndOne";
    using PluginFunction = int (*)(int);

    std::string bytesOf(const iDLL::Resource& resource)
    {
        return resource.data ? std::string(reinterpret_cast<const char*>(resource.data.get()), resource.size) : "";
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

    std::string withBytes(std::string store, size_t at, const char (&bytes)[5])
    {
        return store.replace(at, 4, bytes, 4);
    }

    // Each case gets copies of the real plug-in in a folder of its own.
    class DynDLLTest : public ScratchFolder
    {
    protected:
        std::string copyOfPlugin(const std::string& relativePath) const
        {
            std::filesystem::create_directories(std::filesystem::path(folder + relativePath).parent_path());
            std::filesystem::copy_file(kPluginPath, folder + relativePath);
            return folder + relativePath;
        }

        // What opening the name printed, and the library.
        static std::string openLogging(const std::string& name, Kv::Ptr<iDLL>& library)
        {
            testing::internal::CaptureStdout();
            library = files()->openDLL(wide(name));
            return testing::internal::GetCapturedStdout();
        }
    };
}

TEST_F(DynDLLTest, LoadsLibrariesAndPluginFoldersAndCallsTheirFunctions)
{
    copyOfPlugin("Sample.plugin/Sample.so");
    write(folder + "Sample.plugin/Sample.rsrc", kHandMadeStore);
    const std::string accented = copyOfPlugin("Plug-in \xC3\xBCn\xC3\xAF.so");
    write(folder + "Plug-in \xC3\xBCn\xC3\xAF.rsrc", kHandMadeStore);

    for (const std::string& name : {kPluginPath, accented, folder + "Sample.plugin", folder + "Sample.plugin/"}) {
        SCOPED_TRACE(name);
        Kv::Ptr<iDLL> library;
        EXPECT_EQ(openLogging(name, library), "");
        ASSERT_TRUE(library->valid());
        EXPECT_TRUE(library->getFilename() == wide(name).c_str());
        auto twiceAndOne = reinterpret_cast<PluginFunction>(library->getFunction(kFunction));
        ASSERT_NE(twiceAndOne, nullptr);
        EXPECT_EQ(twiceAndOne(21), 43);
        EXPECT_TRUE(library->containsFunction(kFunction));
        EXPECT_FALSE(library->containsFunction("noSuchFunction"));
        if (name != kPluginPath) {
            EXPECT_EQ(bytesOf(library->getResource(L"DATA", L"#5")), "payload");
        }
    }
}

TEST_F(DynDLLTest, ReleasingTheLastPointerUnloadsTheLibrary)
{
    const std::string path = copyOfPlugin("Unloaded.so");
    Kv::Ptr<iDLL> library = files()->openDLL(wide(path));
    ASSERT_TRUE(library->valid());
    void* stillThere = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    ASSERT_NE(stillThere, nullptr);
    dlclose(stillThere);
    library = nullptr;
    EXPECT_EQ(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD), nullptr);
}

TEST_F(DynDLLTest, WhatCannotBeLoadedIsInvalidAndSaysWhy)
{
    write(folder + "NotALibrary.so", std::string(200, 'x'));
    copyOfPlugin("Sample.plugin/Other.so");
    const std::string prefix = "DynDLL::DynDLL() : dlopen failed (";
    const struct
    {
        std::string name;
        std::string reason;
    } cases[] = {
        {folder + "NoSuchLibrary.so", ": cannot open shared object file: No such file or directory"},
        {folder + "NotALibrary.so", ": invalid ELF header"},
        {folder + "Sample.plugin", ": cannot read file data: Is a directory"},
        // The program itself exports OS, so a wrongly opened "" would find it.
        {"", ""},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.name);
        Kv::Ptr<iDLL> library;
        EXPECT_EQ(openLogging(expected.name, library), prefix + expected.name + expected.reason + ")\n");
        EXPECT_FALSE(library->valid());
        EXPECT_EQ(library->getFunction("OS"), nullptr);
        EXPECT_FALSE(library->containsFunction(kFunction));
        EXPECT_TRUE(isEmpty(library->getResource(L"TEXT", L"#128")));
    }
}

TEST_F(DynDLLTest, ResourcesAreFoundByTheFirstFourBytesOfTheTypeAndTheLow16BitsOfTheNumber)
{
    Kv::Ptr<iDLL> library = files()->openDLL(wide(kPluginPath));
    const std::string source = read(KVOS_TEST_PLUGIN_SOURCE);
    const std::string greeting = read(KVOS_TEST_PLUGIN_GREETING);
    ASSERT_FALSE(source.empty());
    const struct
    {
        const wchar_t* type;
        const wchar_t* name;
        std::string bytes;
    } cases[] = {{L"TEXT", L"#128", source},    {L"STR", L"#-2", greeting},   {L"TEXTURE", L"#128", source},
                 {L"TEXT", L"#65664", source},  {L"STR", L"#65534", greeting}, {L"TEXT", L"#129", ""},
                 {L"TXT", L"#128", ""},         {L"STR ", L"#-2", ""} /* padded with zero bytes, not spaces */,
                 {L"", L"#128", ""},            {L"TEXT", L"Main", ""},       {L"TEXT", L"128", ""},
                 {L"TEXT", L"#", ""},           {L"TEXT", L"", ""},           {L"TEXT", L"#x", ""}};
    for (const auto& expected : cases) {
        SCOPED_TRACE(testing::Message() << ScratchFolder::narrow(expected.type) << " " << ScratchFolder::narrow(expected.name));
        const iDLL::Resource resource = library->getResource(expected.type, expected.name);
        EXPECT_EQ(bytesOf(resource), expected.bytes);
        EXPECT_EQ(resource.size, expected.bytes.size());
        EXPECT_FALSE(library->containsResource(expected.type, expected.name)) << "never says yes";
    }
    EXPECT_TRUE(isEmpty(files()->openDLL(wide(copyOfPlugin("Bare.so")))->getResource(L"TEXT", L"#128")))
        << "no store beside it";
}

TEST_F(DynDLLTest, DamagedStoresHaveNoResources)
{
    Kv::Ptr<iDLL> library = files()->openDLL(wide(copyOfPlugin("Damaged.so")));
    const std::string store = folder + "Damaged.rsrc";
    write(store, kHandMadeStore);
    ASSERT_EQ(bytesOf(library->getResource(L"DATA", L"#5")), "payload");

    const std::vector<std::pair<const char*, std::string>> damaged = {
        {"empty", ""},
        {"cut header", kHandMadeStore.substr(0, 10)},
        {"cut entry", kHandMadeStore.substr(0, 20)},
        {"cut data", kHandMadeStore.substr(0, 34)},
        {"wrong magic", withBytes(kHandMadeStore, 0, "KVRZ")},
        {"other version", withBytes(kHandMadeStore, 4, "\x02\x00\x00\x00")},
        {"count beyond the end", withBytes(kHandMadeStore, 8, "\xFF\xFF\xFF\xFF")},
        {"huge size", withBytes(kHandMadeStore, 20, "\xF0\xFF\xFF\xFF")},
        {"offset beyond the end", withBytes(kHandMadeStore, 24, "\xF0\xFF\xFF\xFF")},
        {"offset into the entries", withBytes(kHandMadeStore, 24, "\x0C\x00\x00\x00")},
    };
    for (const auto& [what, bytes] : damaged) {
        write(store, bytes);
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
