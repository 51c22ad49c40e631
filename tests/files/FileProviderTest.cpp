#include "FileTestSupport.h"

#include <vector>

namespace
{
    // Serves "Virtual:<id> <target>" names from a real folder: the target is a
    // file name inside it.
    class FolderProvider : public iFileProvider
    {
    public:
        FolderProvider(std::wstring id, std::string root) : id(std::move(id)), root(std::move(root)) {}

        LightweightString<wchar_t> real(const LightweightString<wchar_t>& target)
        {
            return OS()->utils()->fromUTF8(root.c_str(), -1) + target;
        }

        Kv::Ptr<iFile> openFile(const LightweightString<wchar_t>& name, unsigned int access,
                                iFile::eOpenBehaviour behaviour, iFile::eShareMode share, unsigned int flags) override
        {
            seen.push_back(name);
            return OS()->fileMgr()->openFile(real(name), access, behaviour, share, flags);
        }
        bool fileExists(const LightweightString<wchar_t>& name) override { return OS()->fileMgr()->fileExists(real(name)); }
        unsigned long long getFileSize(const LightweightString<wchar_t>& name) override
        {
            return OS()->fileMgr()->getFileSize(real(name));
        }
        unsigned int getFileAttributes(const LightweightString<wchar_t>&) override { return 0x42; }
        iFileManager::DirectoryItem getInfo(const LightweightString<wchar_t>&) override { return {}; }
        int copyFile(const LightweightString<wchar_t>& name, const LightweightString<wchar_t>& destination, bool failIfExists,
                     iFileManager::ProgressCallback progress) override
        {
            return OS()->fileMgr()->copyFile(real(name), destination, failIfExists, progress);
        }
        bool deleteFile(const LightweightString<wchar_t>& name) override { return OS()->fileMgr()->deleteFile(real(name)); }
        LightweightString<wchar_t> getID() override { return id.c_str(); }
        LightweightString<wchar_t> getRealFilename(const LightweightString<wchar_t>& name) override { return real(name); }
        bool isStreamingFile(const LightweightString<wchar_t>& name) override
        {
            seen.push_back(name);
            return true;
        }
        bool createDirectory(const LightweightString<wchar_t>&) override { return false; }
        void getDirectoryContents(const LightweightString<wchar_t>&, std::vector<iFileManager::DirectoryItem>&, bool,
                                  bool) override
        {
        }
        LightweightString<wchar_t> getMountedFilename(const LightweightString<wchar_t>& name) override
        {
            return name + L" (mounted)";
        }
        LightweightString<wchar_t> getDisplayFilename(const LightweightString<wchar_t>& name) override
        {
            return LightweightString<wchar_t>(L"Bin: ") + name;
        }

        std::wstring id;
        std::string root;
        std::vector<LightweightString<wchar_t>> seen;
    };

    class FileProviders : public ScratchFolder
    {
    protected:
        void TearDown() override
        {
            files()->deRegisterFileProvider(&first);
            files()->deRegisterFileProvider(&second);
            ScratchFolder::TearDown();
        }

        FolderProvider first{L"bin", "/nonexistent/"};
        FolderProvider second{L"bin", "/nonexistent/"};
    };
}

TEST_F(FileProviders, NamesSplitIntoIdAndTarget)
{
    EXPECT_TRUE(files()->isVirtual(L"Virtual:abc some path"));
    EXPECT_EQ(files()->getProviderID(L"Virtual:abc some path"), L"abc");
    EXPECT_EQ(files()->getVirtualTarget(L"Virtual:abc some path"), L"some path");
    EXPECT_EQ(files()->getProviderID(L"Virtual: path"), L"");
    EXPECT_EQ(files()->getVirtualTarget(L"Virtual: path"), L"path");
    EXPECT_EQ(files()->getProviderID(L"Virtual:abc"), L"");
    EXPECT_EQ(files()->getVirtualTarget(L"Virtual:abc"), L"");
    EXPECT_FALSE(files()->isVirtual(L"virtual:abc x")) << "the prefix respects case";
    EXPECT_EQ(files()->getProviderFor(L"Virtual:nobody x"), nullptr);
    EXPECT_EQ(files()->getDisplayFilename(L"/plain/path"), L"/plain/path");
    EXPECT_EQ(files()->getRealFilename(L"/plain/path"), L"/plain/path");
    EXPECT_EQ(files()->getMountedFilename(L"/plain/path"), L"/plain/path");
}

TEST_F(FileProviders, TheLastRegisteredAnswersAndRegistrationIsOnce)
{
    files()->registerFileProvider(&first);
    files()->registerFileProvider(&first);
    EXPECT_EQ(files()->getProviderFor(L"Virtual:bin x"), &first);
    files()->registerFileProvider(&second);
    EXPECT_EQ(files()->getProviderFor(L"Virtual:bin x"), &second);
    files()->deRegisterFileProvider(&second);
    EXPECT_EQ(files()->getProviderFor(L"Virtual:bin x"), &first);
    files()->deRegisterFileProvider(&first);
    EXPECT_EQ(files()->getProviderFor(L"Virtual:bin x"), nullptr) << "registered twice, one entry";
}

TEST_F(FileProviders, VirtualNamesReachTheProviderAndRealFiles)
{
    first.root = folder;
    files()->registerFileProvider(&first);
    make("take 1.mov", "frames");

    const LightweightString<wchar_t> name = L"Virtual:bin take 1.mov";
    EXPECT_TRUE(files()->fileExists(name));
    EXPECT_EQ(files()->getFileSize(name), 6u);
    EXPECT_EQ(files()->getInfo(name).size, 6u);
    EXPECT_EQ(files()->getInfo(name).attributes, 0u) << "only the size comes from the provider";
    EXPECT_EQ(files()->getFileAttributes(name), 0x42u);
    EXPECT_EQ(files()->getDisplayFilename(name), L"Bin: take 1.mov");
    EXPECT_EQ(files()->getMountedFilename(name), L"Virtual:bin take 1.mov (mounted)");
    EXPECT_TRUE(files()->isStreamingFile(name));
    EXPECT_EQ(first.seen.back(), name) << "the whole name for isStreamingFile";

    Kv::Ptr<iFile> file = files()->openFile(name, 1, iFile::eOpenExisting, iFile::eShareRead, 0);
    ASSERT_TRUE(file);
    EXPECT_EQ(first.seen.back(), L"take 1.mov");

    EXPECT_EQ(files()->copyFile(name, wide(folder + "copy.mov"), true, {}), iFileManager::eCopyOk);
    EXPECT_EQ(read(folder + "copy.mov"), "frames");
    EXPECT_TRUE(files()->deleteFile(name));
    EXPECT_FALSE(exists(folder + "take 1.mov"));
    EXPECT_FALSE(files()->fileExists(L"Virtual:unknown take 1.mov"));
    EXPECT_FALSE(files()->deleteFile(L"Virtual:unknown x"));
    EXPECT_EQ(files()->copyFile(L"Virtual:unknown x", wide(folder + "y"), false, {}), iFileManager::eCopyFailed);
}
