// Mounts, volumes and the host's name.
#include <gtest/gtest.h>

#include "core/base/json_fields.h"
#include "core/platform/host.h"
#include "core/platform/mount_aliases.h"
#include "core/platform/mount_table.h"
#include "core/platform/volume_space.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

TEST(MountTable, ReadsTheKernelsTextAndPassesOverTheRest) {
  const auto mounts = parseMountInfo(
      "22 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
      "24 22 8:17 /a\\040b /mnt/two\\040words\\011tab\\012line\\134back rw shared:2 master:1 - fuse.sshfs me@host: rw\n"
      "25 22 8:2 /x /mnt/no\\optional\\08\\ rw - ext4 /dev/sda2 rw\n"
      "a line without its separator\n"
      "26 22 8:3 - ext4 /dev/x rw\n"
      "\n"
      "27 22 8:4 / /cut\\04 rw - xfs");
  EXPECT_EQ(mounts, (std::vector<MountPoint>{{"/", "ext4", "8:2", "/"},
                                             {"/mnt/two words\ttab\nline\\back", "fuse.sshfs", "8:17", "/a b"},
                                             {"/mnt/no\\optional\\08\\", "ext4", "8:2", "/x"},
                                             {"/cut\\04", "xfs", "8:4", "/"}}));
  EXPECT_TRUE(parseMountInfo("").empty());
  const auto container = parseMountInfo(
      "40 1 0:50 / / rw - overlay overlay rw\n41 40 8:2 /home/me/p /work rw - ext4 /dev/sda2 rw\n"
      "42 40 8:17 / /data rw - ext4 /dev/sdb1 rw");
  const MountAliases aliases(container, mounts);
  EXPECT_EQ(aliases.of("/work/a/b"), std::vector<std::string>{"/home/me/p/a/b"});
  EXPECT_EQ(aliases.of("/data/a b/c"), std::vector<std::string>{"/mnt/two words\ttab\nline\\back/c"});
  EXPECT_EQ(MountAliases(mounts, mounts).of("/x/y"), std::vector<std::string>{"/mnt/no\\optional\\08\\/y"});
  for (const char* path : {"/work-2/a", "/data/a", "/a b/c"}) EXPECT_TRUE(aliases.of(path).empty()) << path;
  for (const char* type : {"proc", "sysfs", "cgroup2", "devpts", "devtmpfs", "tracefs", "fuse.gvfsd-fuse"})
    EXPECT_TRUE(isPseudoFileSystem(type)) << type;
  for (const char* type : {"", "ext4", "btrfs", "zfs", "tmpfs", "overlay", "nfs4", "fuse.sshfs", "apfs", "procfs2"})
    EXPECT_FALSE(isPseudoFileSystem(type)) << type;
}

TEST(MountTable, FindsTheVolumeOfAPathAndWhetherItMayFreeLess) {
  const std::vector<MountPoint> mounts{{"/", "ext4", "8:1"}, {"/home", "btrfs", "8:2"}, {"/home", "xfs", "8:3"}};
  EXPECT_EQ(mountHolding(mounts, "/homes")->device, "8:1");
  EXPECT_EQ(mountHolding(mounts, "/home/me")->device, "8:3") << "a later mount hides the earlier";
  EXPECT_EQ(mountHolding({}, "/home"), nullptr);
  for (const char* type : {"apfs", "bcachefs", "btrfs", "ocfs2", "overlay", "xfs", "zfs", "fuse.fuse-overlayfs"})
    EXPECT_TRUE(mayFreeLess(type)) << type;
  for (const char* type : {"", "ext4", "tmpfs", "nfs4", "vfat", "zfs2"}) EXPECT_FALSE(mayFreeLess(type)) << type;
}

TEST(VolumeSpace, PrefersTheFigureForImportantUsage) {
  using Space = TidraVolumeSpaceReader::Space;
  const auto choose = [](auto total, auto important, auto plain) {
    return TidraVolumeSpaceReader::choose({total, important, plain});
  };
  EXPECT_EQ(choose(100, 40, 30), (Space{100, 40}));
  EXPECT_EQ(choose(100, 0, 30), (Space{100, 0}));
  EXPECT_EQ(choose(100, std::nullopt, 30), (Space{100, 30}));
  EXPECT_EQ(choose(1, std::nullopt, std::nullopt), (Space{1, 0}));
  EXPECT_EQ(choose(0, 40, 30), std::nullopt);
  EXPECT_EQ(choose(std::nullopt, 40, 30), std::nullopt);
}

TEST(VolumeSpace, ReadsTheVolumeOfAFolder) {
  const TemporaryTree tree;
  const auto space = TidraVolumeSpaceReader::read(tree.root());
  ASSERT_TRUE(space);
  EXPECT_GE(space->totalBytes, 1);
  EXPECT_LE(space->availableBytes, space->totalBytes);
  EXPECT_EQ(TidraVolumeSpaceReader::read(tree.path("missing")), std::nullopt);
  using Codec = JsonCodec<TidraVolumeSpaceReader::Space>;
  EXPECT_EQ(Codec::decode(toJson(*space), "It"), *space);
  EXPECT_EQ(messageOf<DecodingError>([] { Codec::decode({{"totalBytes", 7}}, "It"); }), "It.availableBytes is missing");
}

TEST(Host, TheEnvironmentsNameComesFirstUnlessItIsEmpty) {
  EXPECT_EQ(TidraHost::name({{"TIDRA_HOSTNAME", "build-7"}}), "build-7");
  EXPECT_FALSE(TidraHost::name({{"TIDRA_HOSTNAME", ""}}).empty());
}

}  // namespace
}  // namespace tidra
