#include "FileTestSupport.h"

#include <algorithm>
#include <map>
#include <set>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <vector>

namespace
{
    using Drives = std::vector<Kv::Ptr<iDiskDrive>>;

    constexpr iDiskDrive::eType kAllLists[] = {iDiskDrive::eInternalDrive, iDiskDrive::eRemovableDrive,
                                               iDiskDrive::eNetworkDrive};

    Drives listOf(iDiskDrive::eType type)
    {
        Drives drives;
        OS()->fileMgr()->getDiskDrives(type, drives);
        return drives;
    }

    std::set<std::string> pathsOf(const Drives& drives)
    {
        std::set<std::string> paths;
        for (const auto& drive : drives)
            paths.insert(ScratchFolder::narrow(drive->getPath()));
        return paths;
    }

    const iDiskDrive* findByPath(const Drives& drives, const std::string& path)
    {
        for (const auto& drive : drives)
            if (ScratchFolder::narrow(drive->getPath()) == path)
                return drive.get();
        return nullptr;
    }

    struct statvfs volumeOf(const std::string& path)
    {
        struct statvfs volume = {};
        statvfs(path.c_str(), &volume);
        return volume;
    }
}

using DiskDriveOnFolder = ScratchFolder;

TEST_F(DiskDriveOnFolder, OpenedOnAFileIsTheFileFolderLabelledWithTheFullName)
{
    const std::string clip = make("clip.mov", "frames");
    const Kv::Ptr<iDiskDrive> drive = files()->openDrive(wide(clip));
    ASSERT_TRUE(drive);
    EXPECT_EQ(narrow(drive->getPath()), folder);
    EXPECT_EQ(narrow(drive->getDescription()), clip);
    EXPECT_EQ(std::string(drive->getID().c_str()), folder);
    EXPECT_EQ(drive->getType(), iDiskDrive::eInternalDrive);

    EXPECT_TRUE(drive->isPresent());
    EXPECT_TRUE(drive->isMounted());
    EXPECT_FALSE(drive->isVirtual());
    EXPECT_FALSE(drive->isSystemDrive());
    EXPECT_FALSE(drive->mount());
    EXPECT_TRUE(drive->getFileSystem().empty());
}

TEST_F(DiskDriveOnFolder, OpenedOnAFolderOrNothingKeepsTheNameAsGiven)
{
    const std::string bare = folder.substr(0, folder.size() - 1);
    EXPECT_EQ(narrow(files()->openDrive(wide(bare))->getPath()), bare);

    const std::string missing = folder + "gone/away.mov";
    const Kv::Ptr<iDiskDrive> drive = files()->openDrive(wide(missing));
    ASSERT_TRUE(drive) << "never null, even for a name that does not exist";
    EXPECT_EQ(narrow(drive->getPath()), missing);
    EXPECT_EQ(narrow(drive->getDescription()), missing);
}

TEST_F(DiskDriveOnFolder, SpaceQueriesAnswerForTheVolumeThatHoldsThePath)
{
    const Kv::Ptr<iDiskDrive> drive = files()->openDrive(wide(make("clip.mov")));
    const struct statvfs volume = volumeOf(folder);
    const unsigned long long block = volume.f_frsize;
    EXPECT_EQ(drive->getSectorSize(), block);
    EXPECT_EQ(drive->getCapacity(), block * volume.f_blocks);
    // Others write to this volume meanwhile: free space is compared loosely.
    EXPECT_NEAR(double(drive->getFreeSpace()), double(block * volume.f_bfree), 64.0 * 1024 * 1024);
}

TEST_F(DiskDriveOnFolder, SpaceQueriesOnAMissingPathGiveNothingAnd512ByteSectors)
{
    const Kv::Ptr<iDiskDrive> drive = files()->openDrive(wide(folder + "no/such/place/"));
    EXPECT_EQ(drive->getSectorSize(), 512u);
    EXPECT_EQ(drive->getFreeSpace(), 0u);
    EXPECT_EQ(drive->getCapacity(), 0u);
}

TEST(DiskDrives, ListsOtherThanTheThreeAddNothing)
{
    Drives drives = listOf(iDiskDrive::eInternalDrive);
    const size_t before = drives.size();
    OS()->fileMgr()->getDiskDrives(iDiskDrive::eType(0), drives);
    OS()->fileMgr()->getDiskDrives(iDiskDrive::eType(4), drives);
    EXPECT_EQ(drives.size(), before);
    EXPECT_EQ(OS()->fileMgr()->getNumDiskDrives(iDiskDrive::eType(0)), 0u);
    EXPECT_EQ(OS()->fileMgr()->getNumDiskDrives(iDiskDrive::eType(4)), 0u);
}

TEST(DiskDrives, EveryVolumeIsInOneListAsAType1DriveOnItsMountPoint)
{
    std::set<std::string> seen;
    for (iDiskDrive::eType type : kAllLists) {
        const Drives drives = listOf(type);
        EXPECT_EQ(OS()->fileMgr()->getNumDiskDrives(type), drives.size());
        for (const auto& drive : drives) {
            const std::string path = ScratchFolder::narrow(drive->getPath());
            EXPECT_EQ(drive->getType(), iDiskDrive::eInternalDrive) << path;
            EXPECT_EQ(std::string(drive->getID().c_str()), path);
            EXPECT_FALSE(drive->getDescription().empty()) << path;
            EXPECT_TRUE(seen.insert(path).second) << path << " is in two lists";
        }
    }
    EXPECT_EQ(seen.count("/"), 1u) << "the root file system is a drive";
}

TEST(DiskDrives, PseudoAndSystemFileSystemsAreNeverListed)
{
    for (iDiskDrive::eType type : kAllLists)
        for (const std::string& path : pathsOf(listOf(type)))
            for (const char* system : {"/proc/", "/sys/", "/dev/"})
                EXPECT_NE(path.rfind(system, 0), 0u) << path;
    EXPECT_FALSE(OS()->fileMgr()->openDriveByID("/proc/"));
    EXPECT_FALSE(OS()->fileMgr()->openDriveByID("/sys/"));
    EXPECT_FALSE(OS()->fileMgr()->openDriveByID("/dev/"));
}

// Cloud folders live in the real home, so the test runs only where the
// home has no cloud storage folder of its own, and leaves none behind.
class CloudFolders : public testing::Test
{
protected:
    void SetUp() override
    {
        home = ScratchFolder::narrow(OS()->shell()->getFolderLocation(iShell::eSettingsBase));
        ASSERT_FALSE(home.empty());
        if (access((home + "Library").c_str(), F_OK) != 0)
            made = home + "Library";
        else if (access((home + "Library/CloudStorage").c_str(), F_OK) != 0)
            made = home + "Library/CloudStorage";
        else
            GTEST_SKIP() << "the home already has cloud storage";
        base = home + "Library/CloudStorage/";
        ASSERT_EQ(std::system(("mkdir -p '" + base + "'").c_str()), 0);
    }

    void TearDown() override
    {
        if (!made.empty())
            std::system(("rm -rf '" + made + "'").c_str());
    }

    std::string home;
    std::string base;
    std::string made;
};

TEST_F(CloudFolders, LeadTheNetworkListLabelledUpToTheFirstDash)
{
    for (const char* name : {"GoogleDrive-abc@example.com", "Other", "Some-Name-Here", "GoogleDrive2-x"})
        ASSERT_EQ(mkdir((base + name).c_str(), 0755), 0);
    std::ofstream(base + "notes.txt") << "a file is no drive";

    const Drives drives = listOf(iDiskDrive::eNetworkDrive);
    ASSERT_GE(drives.size(), 4u);
    std::map<std::string, std::string> labels;
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(drives[i]->getType(), iDiskDrive::eInternalDrive);
        labels[ScratchFolder::narrow(drives[i]->getPath())] = ScratchFolder::narrow(drives[i]->getDescription());
    }
    EXPECT_EQ(labels, (std::map<std::string, std::string>{{base + "GoogleDrive-abc@example.com", "Google Drive"},
                                                           {base + "Other", "Other"},
                                                           {base + "Some-Name-Here", "Some"},
                                                           {base + "GoogleDrive2-x", "GoogleDrive2"}}));
    EXPECT_EQ(pathsOf(listOf(iDiskDrive::eInternalDrive)).count(base + "Other"), 0u) << "network list only";

    const Kv::Ptr<iDiskDrive> found = OS()->fileMgr()->openDriveByID((base + "Other").c_str());
    ASSERT_TRUE(found);
    EXPECT_EQ(ScratchFolder::narrow(found->getDescription()), "Other");
}

TEST_F(CloudFolders, AMissingCloudFolderGivesNoEntries)
{
    ASSERT_EQ(mkdir((base + "Dropbox").c_str(), 0755), 0);
    EXPECT_EQ(pathsOf(listOf(iDiskDrive::eNetworkDrive)).count(base + "Dropbox"), 1u);
    ASSERT_EQ(std::system(("rm -rf '" + base + "'").c_str()), 0);
    for (const std::string& path : pathsOf(listOf(iDiskDrive::eNetworkDrive)))
        EXPECT_NE(path.rfind(home + "Library/", 0), 0u) << path;
}

// A real tmpfs in a fresh folder: memory on this machine, so an internal drive.
class MountedVolume : public ScratchFolder
{
protected:
    void SetUp() override
    {
        ScratchFolder::SetUp();
        if (getuid() != 0)
            GTEST_SKIP() << "mounting needs root";
        point = folder.substr(0, folder.size() - 1);
        if (std::system(("mount -t tmpfs -o size=1m kvtest '" + point + "' 2>/dev/null").c_str()) != 0)
            GTEST_SKIP() << "mount was refused";
        mounts = 1;
    }

    void TearDown() override
    {
        // Detached, so that a failed test never leaves a mount behind.
        for (; mounts > 0; --mounts)
            umount2(point.c_str(), MNT_DETACH);
        ScratchFolder::TearDown();
    }

    std::string point;
    int mounts = 0;
};

TEST_F(MountedVolume, AppearsAsAnInternalDriveUntilUnmounted)
{
    const iDiskDrive* drive = nullptr;
    const Drives internal = listOf(iDiskDrive::eInternalDrive);
    drive = findByPath(internal, folder);
    ASSERT_NE(drive, nullptr) << folder << " is not listed";
    EXPECT_EQ(narrow(drive->getDescription()), point.substr(point.rfind('/') + 1))
        << "a tmpfs has no label: the folder's name stands in";
    EXPECT_EQ(findByPath(listOf(iDiskDrive::eRemovableDrive), folder), nullptr);
    EXPECT_EQ(findByPath(listOf(iDiskDrive::eNetworkDrive), folder), nullptr);

    const Kv::Ptr<iDiskDrive> byID = files()->openDriveByID(folder.c_str());
    ASSERT_TRUE(byID);
    EXPECT_EQ(narrow(byID->getPath()), folder);
    EXPECT_FALSE(files()->openDriveByID(point.c_str())) << "the ID carries the trailing /";

    ASSERT_EQ(umount(point.c_str()), 0);
    mounts = 0;
    EXPECT_EQ(findByPath(listOf(iDiskDrive::eInternalDrive), folder), nullptr);
    EXPECT_FALSE(files()->openDriveByID(folder.c_str()));
}

TEST_F(MountedVolume, SpaceIsTheVolumeExactly)
{
    const Kv::Ptr<iDiskDrive> drive = files()->openDriveByID(folder.c_str());
    ASSERT_TRUE(drive);
    EXPECT_EQ(drive->getCapacity(), 1024u * 1024u);
    EXPECT_EQ(drive->getFreeSpace(), drive->getCapacity());
    EXPECT_EQ(drive->getSectorSize(), (unsigned long long)volumeOf(folder).f_frsize);

    make("clip.mov", std::string(256 * 1024, 'x'));
    EXPECT_EQ(drive->getFreeSpace(), drive->getCapacity() - 256u * 1024u);
}

TEST_F(MountedVolume, AFolderMountedTwiceIsOneDrive)
{
    ASSERT_EQ(std::system(("mount -t tmpfs -o size=2m kvtest '" + point + "'").c_str()), 0);
    mounts = 2;
    const Drives internal = listOf(iDiskDrive::eInternalDrive);
    EXPECT_EQ(std::count_if(internal.begin(), internal.end(),
                            [&](const auto& drive) { return ScratchFolder::narrow(drive->getPath()) == folder; }),
              1);
    const Kv::Ptr<iDiskDrive> drive = files()->openDriveByID(folder.c_str());
    ASSERT_TRUE(drive);
    EXPECT_EQ(drive->getCapacity(), 2u * 1024u * 1024u) << "the topmost one";
}
