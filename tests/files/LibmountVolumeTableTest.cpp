#include "FileTestSupport.h"
#include "LibmountVolumeTable.h"

#include <sys/stat.h>

using LibmountVolumeTableTest = ScratchFolder;

// A mount table of the kernel's mountinfo form, as another machine has it.
TEST_F(LibmountVolumeTableTest, SystemFoldersAreHiddenAndEveryGvfsShareIsANetworkVolume)
{
    const std::string gvfs = folder + "gvfs";
    mkdir(gvfs.c_str(), 0700);
    for (const char* share : {"smb-share:server=nas,share=media", "sftp:host=box"})
        mkdir((gvfs + "/" + share).c_str(), 0700);
    const std::string mountInfo = make("mountinfo",
                                       "21 1 0:20 / / rw - ext4 /dev/nonexistent1 rw\n"
                                       "22 21 0:21 / /boot rw - ext4 /dev/nonexistent2 rw\n"
                                       "23 22 0:22 / /boot/efi rw - vfat /dev/nonexistent3 rw\n"
                                       "24 21 0:23 / /tmp rw - tmpfs tmpfs rw\n"
                                       "25 21 0:24 / /var/tmp rw - tmpfs tmpfs rw\n"
                                       "26 21 0:25 / /media/scratch rw - tmpfs tmpfs rw\n"
                                       "27 21 0:26 / " + gvfs + " rw - fuse.gvfsd-fuse gvfsd-fuse rw\n"
                                       "28 21 0:27 / /mnt/films rw - nfs4 server:/films rw\n");
    const LibmountVolumeTable table(mountInfo.c_str());
    const struct
    {
        std::string mountPoint;
        bool hidden;
        LibmountVolumeTable::eBusClass bus;
        std::string label;
    } expected[] = {
        {"/", false, LibmountVolumeTable::eInternalBus, "/"},
        {"/boot", true, LibmountVolumeTable::eInternalBus, "boot"},
        {"/boot/efi", true, LibmountVolumeTable::eInternalBus, "efi"},
        {"/tmp", true, LibmountVolumeTable::eInternalBus, "tmp"},
        {"/var/tmp", true, LibmountVolumeTable::eInternalBus, "tmp"},
        {"/media/scratch", false, LibmountVolumeTable::eInternalBus, "scratch"},
        {gvfs + "/smb-share:server=nas,share=media", false, LibmountVolumeTable::eNoBus, "media"},
        {gvfs + "/sftp:host=box", false, LibmountVolumeTable::eNoBus, "sftp:host=box"},
        {"/mnt/films", false, LibmountVolumeTable::eNoBus, "films"},
    };
    std::vector<LibmountVolumeTable::Volume> volumes = table.volumes();
    // The shares come in the folder's order.
    std::sort(volumes.begin() + 6, volumes.begin() + 8,
              [](const auto& a, const auto& b) { return std::string(a.mountPoint.c_str()) > b.mountPoint.c_str(); });
    ASSERT_EQ(volumes.size(), std::size(expected));
    for (std::size_t i = 0; i < volumes.size(); ++i) {
        SCOPED_TRACE(expected[i].mountPoint);
        EXPECT_EQ(volumes[i].mountPoint.c_str(), expected[i].mountPoint);
        EXPECT_EQ(volumes[i].hidden, expected[i].hidden);
        EXPECT_EQ(volumes[i].bus, expected[i].bus);
        EXPECT_EQ(volumes[i].label.c_str(), expected[i].label);
    }
    EXPECT_TRUE(LibmountVolumeTable((folder + "missing").c_str()).volumes().empty());
}
