#include "core/platform/directory_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <map>

#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

using Listing = std::map<std::string, EntryType>;

/// Reads the rest; fails on a repeated name.
Listing rest(DirectoryReader& reader) {
  Listing entries;
  for (DirectoryEntry entry; reader.next(entry);) {
    EXPECT_EQ(entry.name.data()[entry.name.size()], '\0');
    EXPECT_TRUE(entries.emplace(entry.name, entry.type).second) << entry.name;
  }
  EXPECT_FALSE(reader.failure());
  return entries;
}

TEST(DirectoryReader, ReturnsEveryTypeAndOddName) {
  const TemporaryTree tree;
  Listing expected;
  for (const std::string& name :
       {std::string(".hidden"), std::string("..."), std::string(" "), std::string("line\nbreak"), std::string(255, 'n'),
        std::string(anyByteNames ? "\xFF\xFE" : "-rf")}) {
    tree.writeFile(name);
    expected.emplace(name, EntryType::regularFile);
  }
  tree.makeFolder("folder/inner");
  tree.symlink("link", "folder");
  tree.symlink("dangling", "nowhere");
  ASSERT_EQ(::mkfifo(tree.path("pipe").c_str(), 0600), 0);
  expected.insert({{"folder", EntryType::directory},
                   {"link", EntryType::symbolicLink},
                   {"dangling", EntryType::symbolicLink},
                   {"pipe", EntryType::other}});
  const auto root = openDirectory(tree.root());
  const auto empty = openDirectory(tree.path("folder/inner"));
  DirectoryReader reader;
  reader.start(root->get());
  EXPECT_EQ(rest(reader), expected);
  reader.start(empty->get());
  EXPECT_EQ(rest(reader), Listing());
}

TEST(DirectoryReader, ReadsListingsBeyondItsBufferAndStartsOver) {
  const TemporaryTree tree;
  Listing expected;
  for (int i = 0; i < 2000; ++i) expected.emplace(std::to_string(i) + std::string(100, 'x'), EntryType::regularFile);
  for (const auto& [name, type] : expected) tree.writeFile("many/" + name);
  tree.writeFile("few/one");
  const auto many = openDirectory(tree.path("many"));
  const auto few = openDirectory(tree.path("few"));
  DirectoryReader reader;
  reader.start(many->get());
  DirectoryEntry entry;
  ASSERT_TRUE(reader.next(entry));
  reader.start(few->get());  // abandons the first one within a batch
  EXPECT_EQ(rest(reader), (Listing{{"one", EntryType::regularFile}}));
  for (int round = 0; round < 2; ++round) {
    reader.startOver(many->get());
    EXPECT_EQ(rest(reader), expected);
    EXPECT_FALSE(reader.next(entry));
  }
}

TEST(DirectoryReader, ReturnsWhyAFolderCannotBeRead) {
  const TemporaryTree tree;
  const FileDescriptor file(::open(tree.writeFile("file").c_str(), O_RDONLY | O_CLOEXEC));
  const auto folder = openDirectory(tree.root());
  DirectoryReader reader;
  reader.start(file.get());
  DirectoryEntry entry;
  EXPECT_FALSE(reader.next(entry));
  EXPECT_EQ(reader.failure(), std::errc::not_a_directory);
  reader.start(folder->get());
  EXPECT_EQ(rest(reader).size(), 1U);
}

TEST(OpenDirectory, FollowsLinksOnlyWhereTheUserNamedThem) {
  const TemporaryTree tree;
  tree.makeFolder("real/sub");
  tree.writeFile("real/file");
  tree.symlink("real/link", "sub");
  tree.symlink("link", "real");
  EXPECT_TRUE(openDirectory(tree.path("link/link")));
  EXPECT_EQ(openDirectory(tree.path("missing")).failure(), std::errc::no_such_file_or_directory);
  EXPECT_EQ(openDirectory("").failure(), std::errc::no_such_file_or_directory);
  EXPECT_EQ(openDirectory(tree.path("real/file")).failure(), std::errc::not_a_directory);

  const auto real = openDirectory(tree.path("real"));
  EXPECT_TRUE(openSubdirectory(real->get(), "sub"));
  // ENOTDIR or ELOOP, depending on the system.
  const auto refused = openSubdirectory(real->get(), "link").failure();
  EXPECT_TRUE(refused == std::errc::not_a_directory || refused == std::errc::too_many_symbolic_link_levels) << refused;
  EXPECT_EQ(openSubdirectory(real->get(), "file").failure(), std::errc::not_a_directory);
}

TEST(EntryFacts, DescribeTheEntryOrItsTarget) {
  const TemporaryTree tree;
  tree.writeFileOfSize("file", std::uint64_t{5} << 32U);
  tree.symlink("link", "file");
  tree.symlink("dangling", "nowhere");
  tree.setModified("file", timePointAt(1600000000));
  tree.setModified("link", timePointAt(1500000000));
  const auto folder = openDirectory(tree.root());
  const auto file = entryFacts(folder->get(), "file");
  EXPECT_EQ(file->type, EntryType::regularFile);
  EXPECT_EQ(file->sizeBytes, std::uint64_t{5} << 32U);
  EXPECT_EQ(file->modified, timePointAt(1600000000));
  for (const auto& link : {entryFacts(folder->get(), "link"), pathFacts(tree.path("link"))}) {
    EXPECT_EQ(link->type, EntryType::symbolicLink);
    EXPECT_EQ(link->modified, timePointAt(1500000000));
    EXPECT_FALSE(link->identity == file->identity);
  }
  for (const auto& followed : {followedEntryFacts(folder->get(), "link"), followedFacts(tree.path("link"))})
    EXPECT_TRUE(followed->identity == file->identity);
  EXPECT_EQ(entrySize(folder->get(), "file")->bytes, file->sizeBytes);
  EXPECT_EQ(entrySize(folder->get(), "link")->bytes, 4U);
  EXPECT_TRUE(entryFacts(folder->get(), "dangling"));
  EXPECT_EQ(followedEntryFacts(folder->get(), "dangling").failure(), std::errc::no_such_file_or_directory);
  EXPECT_EQ(entrySize(folder->get(), "missing").failure(), std::errc::no_such_file_or_directory);
}

TEST(LongPaths, MayExceedWhatOneSystemCallTakes) {
  const TemporaryTree tree;
  const std::string name(200, 'd');
  std::string path = tree.root();
  auto folder = openDirectory(path);
  while (path.size() <= PATH_MAX + 300) {
    ASSERT_EQ(::mkdirat(folder->get(), name.c_str(), 0700), 0);
    folder = openSubdirectory(folder->get(), name.c_str());
    path += "/" + name;
    const auto again = openDirectory(path);
    ASSERT_TRUE(folder && again) << path.size();
    EXPECT_TRUE(entryFacts(again->get(), ".")->identity == entryFacts(folder->get(), ".")->identity);
  }
  ASSERT_EQ(::symlinkat(".", folder->get(), "link"), 0);
  EXPECT_EQ(pathFacts(path + "/link")->type, EntryType::symbolicLink);
  EXPECT_TRUE(followedFacts(path + "/link")->identity == entryFacts(folder->get(), ".")->identity);
  EXPECT_EQ(pathFacts(path + "/missing").failure(), std::errc::no_such_file_or_directory);
  EXPECT_EQ(openDirectory(path + "/missing/deeper").failure(), std::errc::no_such_file_or_directory);
}

}  // namespace
}  // namespace tidra
