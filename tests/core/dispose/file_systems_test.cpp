// Every removal on every file system that a developer may have: it works, or says in one sentence why not and changes
// nothing.
#include "core/base/quantities.h"
#include "tests/core/dispose/disposal_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/mounted_file_system.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

struct FileSystemCase {
  const char* name;
  const char* script;  // mounts it at $V and fills it
  bool lacksPermissions = false;
  const char* moving = "";    // in the refusal by trash and quarantine; "": both work
  const char* deleting = "";  // likewise
};
void PrintTo(const FileSystemCase& one, std::ostream* out) { *out << one.name; }

/// `fill` makes the items in a folder. The user is nobody.
constexpr const char* functions = R"(
  fill() { mkdir -p $1/p/item/sub $1/q/ITEM $1/r
           for f in p/item/sub/f q/ITEM/g r/Item; do echo one >$1/$f; done; chown -R 65534:65534 $1 || :; }
  image() { truncate -s $1 $W/image; }
  serve() { "$@" 9>&- & until mountpoint -q $V; do kill -0 $!; sleep 0.02; done; }
  overlay() { mount -t tmpfs none $W; mkdir $W/l; $1; sleep 0.02; mkdir $W/u $W/w; chown 65534 $W/u
              mount -t overlay -o lowerdir=$W/l,upperdir=$W/u,workdir=$W/w none $V; }
)";

const FileSystemCase fileSystemCases[] = {
    {"tmpfs", "mount -t tmpfs none $V; fill $V"},
    {"ext4", "image 16M; mkfs.ext4 $W/image; mount -o loop $W/image $V; fill $V"},
    {"ext4WithCaseFolding",
     "image 16M; mkfs.ext4 -O casefold -E encoding=utf8 $W/image; mount -o loop $W/image $V;"
     "chattr +F $V; fill $V"},
    {"xfs", "image 400M; mkfs.xfs $W/image; mount -o loop $W/image $V; fill $V"},
    {"btrfs", "image 200M; mkfs.btrfs $W/image; mount -o loop $W/image $V; fill $V"},
    {"overlaysUpperLayer", "overlay :; fill $V"},
    {"overlaysLowerLayer", "overlay 'fill '$W/l", false, "lies in a lower layer of the overlay"},
    {"overlaysBothLayers", "overlay 'fill '$W/l; for f in p/item q/ITEM; do echo new >$V/$f/new; done", false,
     "lies in a lower layer"},
    {"overlaysYoungerLowerLayer",
     "mount -t tmpfs none $W; mkdir $W/l $W/u $W/w; chown 65534 $W/u; sleep 0.02; fill $W/l; mkdir $W/l/q/ITEM/sub;"
     "mount -t overlay -o lowerdir=$W/l,upperdir=$W/u,workdir=$W/w none $V; touch $V/p/item/new $V/q/ITEM/new",
     false, "lies in a lower layer"},
    {"vfat", "image 16M; mkfs.vfat $W/image; mount -o loop,uid=65534,gid=65534,umask=0 $W/image $V; fill $V", true},
    {"exfat", "image 16M; mkfs.exfat $W/image; mount -t exfat -o loop,uid=65534,umask=0 $W/image $V; fill $V", true},
    // Names without regard to case; neither RENAME_NOREPLACE nor symbolic nor hard links.
    {"exfatInUserSpace",
     "image 16M; mkfs.exfat $W/image; loop=$(losetup -f --show $W/image);"
     "serve mount.exfat-fuse -d -o uid=65534,umask=0 $loop $V; losetup -d $loop; fill $V",
     true},
    {"ntfs", "image 16M; mkfs.ntfs -F -Q $W/image; serve ntfs-3g -o no_detach,uid=65534,umask=0 $W/image $V; fill $V",
     true},
    {"ntfsReadableForOthers",
     "image 16M; mkfs.ntfs -F -Q $W/image;"
     "serve ntfs-3g -o no_detach,uid=65534,umask=022 $W/image $V; fill $V",
     true},
    {"ntfsWithPermissions",
     "image 16M; mkfs.ntfs -F -Q $W/image;"
     "serve ntfs-3g -o no_detach,permissions $W/image $V; fill $V"},
    {"ntfsWithPermissionsAndOpenStores",
     "image 16M; mkfs.ntfs -F -Q $W/image; serve ntfs-3g -o no_detach,permissions $W/image $V;"
     "mkdir $V/.Trash-65534 $V/.tidra-quarantine; fill $V; chmod 777 $V $V/.T* $V/.t*",
     false, "is open to other users; run chmod 700"},
    {"ntfsOfAnotherUser",
     "image 16M; mkfs.ntfs -F -Q $W/image;"
     "serve ntfs-3g -o no_detach,uid=1,umask=0 $W/image $V; fill $V",
     true, "another user"},
    {"readOnly", "mount -t tmpfs none $V; fill $V; mount -o remount,ro $V", false, "ead-only file system",
     "ead-only file system"},
    {"full", "mount -t tmpfs -o size=64k none $V; fill $V; cat /dev/zero >$V/filler || :", false,
     "No space left on device; use --method delete"},
    {"outOfInodes",
     "mount -t tmpfs -o nr_inodes=16 none $V; fill $V; i=0; while touch $V/i$i; do i=$((i+1)); done || :", false,
     "No space left on device; use --method delete"},
};

class FileSystems : public DisposalTest, public testing::WithParamInterface<FileSystemCase> {
 protected:
  std::vector<SnapshotEntry> contents() const {
    std::vector<SnapshotEntry> all;
    for (const std::string& item : items_) {
      for (auto& entry : withoutFolderTimes(snapshotOf(parentPath(item)))) all.push_back(std::move(entry));
    }
    return all;
  }

  /// The refusal of each item, or "".
  std::vector<std::string> refusals(TidraDeletionService& service, DisposalMethod method, bool dryRun) {
    std::vector<std::string> messages;
    for (const std::string& item : items_) {
      const auto result = service.dispose({item, {}}, method, dryRun, config());
      const auto* failure = std::get_if<TidraDeletionFailure>(&result);
      messages.push_back(failure != nullptr ? failure->message : "");
      EXPECT_EQ(exists(item), failure != nullptr || dryRun);
      if (failure == nullptr) freed_ += std::get<TidraDeletionService::Disposed>(result).freed;
    }
    return messages;
  }
  void restoreAll() const {
    std::vector<std::string> notes;
    for (const auto& entry : trash().list(now, notes)) FreedesktopTrash::restore(entry);
    for (const auto& entry : disposer().list().entries) disposer().restore(entry);
    EXPECT_THAT(notes, IsEmpty());
    EXPECT_THAT(disposer().list().notes, IsEmpty());
  }
  /// "" matches only itself.
  static testing::Matcher<std::string> matching(const std::string& text) {
    return text.empty() ? testing::Matcher<std::string>("") : testing::Matcher<std::string>(HasSubstr(text));
  }

  std::vector<std::string> items_;
  std::int64_t freed_ = 0;
};

TEST_P(FileSystems, MoveRestoreAndDeleteOrSayWhyNot) {
  const FileSystemCase& row = GetParam();
  handOver(tree_);
  const MountedFileSystem volume(tree_, std::string(functions) + row.script);
  if (!volume) GTEST_SKIP() << "cannot be mounted here";
  const WithoutPrivileges user(tree_);
  const bool isOfLowerLayer = std::string_view(row.moving).find("lower layer") != std::string_view::npos;
  items_ = {volume.path("p/item"), volume.path("q/ITEM")};
  // A file of a lower layer moves: the kernel copies it.
  if (!isOfLowerLayer) items_.push_back(volume.path("r/Item"));
  const auto before = contents();
  const auto access = pathFacts(volume.path("p"))->permissions;
  for (const auto method : {DisposalMethod::trash, DisposalMethod::quarantine}) {
    auto mover = service();
    const auto dry = refusals(mover, method, true);
    if (isOfLowerLayer || *row.moving == 0) {
      EXPECT_THAT(dry, Each(matching(row.moving)));
    }
    EXPECT_THAT(refusals(mover, method, false), Each(matching(row.moving)));
    const bool isOpen = row.lacksPermissions && (access & 0077) != 0;
    EXPECT_EQ(mover.notes().size(), isOpen && *row.moving == 0 ? 1U : 0U);
    restoreAll();
    auto again = service();
    refusals(again, method, false);
    EXPECT_THAT(again.notes(), IsEmpty());
    restoreAll();
    EXPECT_EQ(contents(), before);
    for (const char* store : {".Trash-65534/files", ".Trash-65534/info", ".tidra-quarantine"})
      EXPECT_THAT(namesIn(volume.path(store)), IsEmpty()) << store;
    EXPECT_TRUE(!row.lacksPermissions || *row.moving == 0 || !exists(volume.path(".Trash-65534")));
  }
  const std::string_view name = row.name;
  const auto upper = openDirectory(tree_.path(name == "overlaysBothLayers" ? "work/u/p/item" : ""));
  const auto made = upper ? entrySize(upper->get(), "new") : upper.failure();
  auto remover = service();
  freed_ = 0;
  EXPECT_THAT(refusals(remover, DisposalMethod::delete_, false), Each(matching(row.deleting)));
  if (isOfLowerLayer) {
    EXPECT_THAT(remover.notes(), ElementsAre(HasSubstr("frees nothing")));
    EXPECT_EQ(freed_, made ? 2 * signedBytes(made->allocated) : 0);
  }
  for (const std::string& item : items_)
    EXPECT_EQ(namesIn(parentPath(item)).size(), *row.deleting == 0 ? 0U : 1U) << item;
}

INSTANTIATE_TEST_SUITE_P(OnThisMachine, FileSystems, testing::ValuesIn(fileSystemCases),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace tidra
