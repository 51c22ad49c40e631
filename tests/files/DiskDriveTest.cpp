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

    // How many drives of the list have the path.
    long countOf(const Drives& drives, const std::string& path)
    {
        return std::count_if(drives.begin(), drives.end(),
                             [&](const auto& drive) { return ScratchFolder::narrow(drive->getPath()) == path; });
    }

    struct statvfs volumeOf(const std::string& path)
    {
        struct statvfs volume = {};
        statvfs(path.c_str(), &volume);
        return volume;
    }
}

using DiskDriveOnFolder = ScratchFolder;

TEST_F(DiskDriveOnFolder, OpenedOnAnyNameIsItsFolderLabelledWithTheNameAsGiven)
{
    const std::string clip = make("clip.mov", "frames");
    const std::string bare = folder.substr(0, folder.size() - 1);
    const std::string missing = folder + "gone/away.mov";
    const struct
    {
        std::string name;
        std::string path;
    } cases[] = {{clip, folder}, {bare, bare}, {missing, missing}};
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.name);
        const Kv::Ptr<iDiskDrive> drive = files()->openDrive(wide(expected.name));
        ASSERT_TRUE(drive) << "never null, even for a name that does not exist";
        EXPECT_EQ(narrow(drive->getPath()), expected.path);
        EXPECT_EQ(std::string(drive->getID().c_str()), expected.path);
        EXPECT_EQ(narrow(drive->getDescription()), expected.name);
        EXPECT_EQ(drive->getType(), iDiskDrive::eInternalDrive);
    }
}

TEST_F(DiskDriveOnFolder, SpaceIsThatOfTheVolumeThatHoldsThePathAndNoneWithout)
{
    const Kv::Ptr<iDiskDrive> drive = files()->openDrive(wide(make("clip.mov")));
    const struct statvfs volume = volumeOf(folder);
    EXPECT_EQ(drive->getSectorSize(), volume.f_frsize);
    EXPECT_EQ(drive->getCapacity(), volume.f_frsize * volume.f_blocks);
    // Others write to this volume meanwhile: free space is compared loosely.
    EXPECT_NEAR(double(drive->getFreeSpace()), double(volume.f_frsize * volume.f_bfree), 64.0 * 1024 * 1024);

    const Kv::Ptr<iDiskDrive> nowhere = files()->openDrive(wide(folder + "no/such/place/"));
    EXPECT_EQ(nowhere->getSectorSize(), 512u);
    EXPECT_EQ(nowhere->getFreeSpace(), 0u);
    EXPECT_EQ(nowhere->getCapacity(), 0u);
}

TEST(DiskDrives, EveryVisibleVolumeIsInOneOfTheThreeListsAsAType1Drive)
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
            for (const char* system : {"/proc/", "/sys/", "/dev/"})
                EXPECT_NE(path.rfind(system, 0), 0u) << path;
        }
    }
    EXPECT_EQ(seen.count("/"), 1u) << "the root file system is a drive";
    for (const char* system : {"/proc/", "/sys/", "/dev/"})
        EXPECT_FALSE(OS()->fileMgr()->openDriveByID(system));
    EXPECT_TRUE(listOf(iDiskDrive::eType(0)).empty()) << "a type of no list";
}

// Cloud folders live in the real home, so the test runs only where the home
// has no cloud storage folder of its own, and leaves none behind.
TEST(CloudFolders, LeadTheNetworkListLabelledUpToTheFirstDashAndGoWithTheirFolder)
{
    const std::string home = ScratchFolder::narrow(OS()->shell()->getFolderLocation(iShell::eSettingsBase));
    const std::string base = home + "Library/CloudStorage/";
    if (ScratchFolder::exists(base))
        GTEST_SKIP() << "the home already has cloud storage";
    const std::string made = ScratchFolder::exists(home + "Library") ? base : home + "Library";
    ASSERT_EQ(std::system(("mkdir -p '" + base + "'").c_str()), 0);
    struct Remover
    {
        ~Remover() { std::system(("rm -rf '" + made + "'").c_str()); }
        std::string made;
    } remover{made};

    for (const char* name : {"GoogleDrive-abc@example.com", "Other", "Some-Name-Here", "GoogleDrive2-x"})
        ASSERT_EQ(mkdir((base + name).c_str(), 0755), 0);
    ScratchFolder::write(base + "notes.txt", "a file is no drive");
    const Drives drives = listOf(iDiskDrive::eNetworkDrive);
    ASSERT_GE(drives.size(), 4u);
    std::map<std::string, std::string> labels;
    for (size_t i = 0; i < 4; ++i)
        labels[ScratchFolder::narrow(drives[i]->getPath())] = ScratchFolder::narrow(drives[i]->getDescription());
    EXPECT_EQ(labels, (std::map<std::string, std::string>{{base + "GoogleDrive-abc@example.com", "Google Drive"},
                                                           {base + "Other", "Other"},
                                                           {base + "Some-Name-Here", "Some"},
                                                           {base + "GoogleDrive2-x", "GoogleDrive2"}}));
    EXPECT_EQ(countOf(listOf(iDiskDrive::eInternalDrive), base + "Other"), 0) << "network list only";
    const Kv::Ptr<iDiskDrive> found = OS()->fileMgr()->openDriveByID((base + "Other").c_str());
    ASSERT_TRUE(found);
    EXPECT_EQ(ScratchFolder::narrow(found->getDescription()), "Other");

    ASSERT_EQ(std::system(("rm -rf '" + base + "'").c_str()), 0);
    for (const auto& drive : listOf(iDiskDrive::eNetworkDrive))
        EXPECT_EQ(ScratchFolder::narrow(drive->getPath()).find("/Library/CloudStorage/"), std::string::npos);
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
        if (!mountTmpfs("1m"))
            GTEST_SKIP() << "mount was refused";
    }

    void TearDown() override
    {
        // Detached, so that a failed test never leaves a mount behind.
        for (; mounts > 0; --mounts)
            umount2(point.c_str(), MNT_DETACH);
        ScratchFolder::TearDown();
    }

    bool mountTmpfs(const std::string& size)
    {
        const bool mounted =
            std::system(("mount -t tmpfs -o size=" + size + " kvtest '" + point + "' 2>/dev/null").c_str()) == 0;
        mounts += mounted;
        return mounted;
    }

    std::string point;
    int mounts = 0;
};

TEST_F(MountedVolume, IsAnInternalDriveOfExactlyItsSpaceUntilUnmounted)
{
    ASSERT_EQ(countOf(listOf(iDiskDrive::eInternalDrive), folder), 1);
    EXPECT_EQ(countOf(listOf(iDiskDrive::eRemovableDrive), folder), 0);
    EXPECT_EQ(countOf(listOf(iDiskDrive::eNetworkDrive), folder), 0);
    const Kv::Ptr<iDiskDrive> drive = files()->openDriveByID(folder.c_str());
    ASSERT_TRUE(drive);
    EXPECT_EQ(narrow(drive->getDescription()), point.substr(point.rfind('/') + 1))
        << "a tmpfs has no label: the folder's name stands in";
    EXPECT_FALSE(files()->openDriveByID(point.c_str())) << "the ID carries the trailing /";
    EXPECT_EQ(drive->getCapacity(), 1024u * 1024u);
    EXPECT_EQ(drive->getFreeSpace(), drive->getCapacity());
    make("clip.mov", std::string(256 * 1024, 'x'));
    EXPECT_EQ(drive->getFreeSpace(), drive->getCapacity() - 256u * 1024u);

    ASSERT_EQ(umount(point.c_str()), 0);
    mounts = 0;
    EXPECT_EQ(countOf(listOf(iDiskDrive::eInternalDrive), folder), 0);
    EXPECT_FALSE(files()->openDriveByID(folder.c_str()));
}

TEST_F(MountedVolume, AFolderMountedTwiceIsOneDriveOfTheTopmostVolume)
{
    ASSERT_TRUE(mountTmpfs("2m"));
    EXPECT_EQ(countOf(listOf(iDiskDrive::eInternalDrive), folder), 1);
    const Kv::Ptr<iDiskDrive> drive = files()->openDriveByID(folder.c_str());
    ASSERT_TRUE(drive);
    EXPECT_EQ(drive->getCapacity(), 2u * 1024u * 1024u);
}
