#include "core/platform/files.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <thread>

#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

TEST(ReadFile, ReturnsTheBytesOrTheReason) {
  const TemporaryTree tree;
  const std::string bytes = std::string(200'000, 'a') + '\0' + std::string(10, '\xFF');
  EXPECT_EQ(*readFile(tree.writeFile("file", bytes)), bytes);
  EXPECT_EQ(*readFile(tree.writeFile("empty")), "");
  EXPECT_EQ(readFile(tree.path("missing")).failure(), std::errc::no_such_file_or_directory);
  EXPECT_EQ(readFile(tree.root()).failure(), std::errc::is_a_directory);
  EXPECT_EQ(*readFile(tree.path("file"), bytes.size()), bytes);
  EXPECT_EQ(readFile(tree.path("file"), bytes.size() - 1).failure(), std::errc::file_too_large);
}

TEST(ReplaceFile, WritesTheWholeFileWithItsModeAndNothingElse) {
  const TemporaryTree tree;
  tree.writeFile("folder/file", "old and longer than the new");
  tree.symlink("link", "folder/file");
  replaceFile(tree.path("folder/file"), "new", 0640);
  const mode_t former = ::umask(026);
  replaceFile(tree.path("folder/fresh"), std::string(100'000, 'x'));
  ::umask(former);
  const auto entries = tree.snapshot();
  ASSERT_EQ(entries.size(), 5U);  // the root, the folder, both files and the link
  EXPECT_EQ(entries[2].mode, 0640U);
  EXPECT_EQ(entries[3].mode, 0640U) << "what the process's mask leaves";
  EXPECT_EQ(entries[3].sizeBytes, 100'000U);
  replaceFile(tree.path("link"), "newer");
  EXPECT_EQ(*readFile(tree.path("folder/file")), "newer");
  tree.setMode("folder/file", 0604);
  replaceFile(tree.path("folder/file"), "newest");
  EXPECT_EQ(tree.snapshot().at(2).mode, 0604U);
  EXPECT_EQ(tree.snapshot().at(4), entries[4]);  // the link goes on pointing at the file
}

TEST(ReplaceFile, AReaderNeverMeetsAPartOfAFile) {
  const TemporaryTree tree;
  const auto path = tree.writeFile("file", std::string(50'000, 'a'));
  std::thread writer([&] {
    for (int round = 0; round < 40; ++round) replaceFile(path, std::string(50'000, round % 2 == 0 ? 'b' : 'a'));
  });
  for (int round = 0; round < 200; ++round) {
    const auto bytes = readFile(path);
    EXPECT_TRUE(*bytes == std::string(50'000, 'a') || *bytes == std::string(50'000, 'b')) << bytes->size();
  }
  writer.join();
}

/// While alive, files of this process are limited to 1000 bytes, as on a full disk.
class SmallFiles {
 public:
  SmallFiles() {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit small{1000, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    onExcess_ = ::signal(SIGXFSZ, SIG_IGN);
  }
  ~SmallFiles() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, onExcess_);
  }

 private:
  rlimit before_{};
  void (*onExcess_)(int) = SIG_DFL;
};

TEST(ReplaceFile, AFailureLeavesEverythingAsItWas) {
  const TemporaryTree tree;
  tree.writeFile("file", "kept");
  tree.makeFolder("folder/inner");
  tree.symlink("dangling", "nowhere");
  ASSERT_EQ(::mkfifo(tree.path("pipe").c_str(), 0600), 0);
  const auto before = withoutFolderTimes(tree.snapshot());
  for (const std::string relative : {"folder", "dangling", "pipe", "missing/file", "file/below", ""}) {
    const auto path = tree.path(relative);
    const auto message = messageOf<std::system_error>([&] { replaceFile(path, "new"); });
    EXPECT_TRUE(message.starts_with(path + " cannot be written: ")) << message;
  }
  EXPECT_EQ(messageOf<std::system_error>([&] {
              const SmallFiles nearlyFull;
              replaceFile(tree.path("file"), std::string(100'000, 'x'));
            }),
            tree.path("file") + " cannot be written: File too large");
  EXPECT_EQ(withoutFolderTimes(tree.snapshot()), before);
}

TEST(RealPath, ResolvesLinksAndDots) {
  const TemporaryTree tree;
  tree.makeFolder("real/sub");
  tree.symlink("link", "real");
  EXPECT_EQ(*realPath(tree.path("link/./sub/../sub/")), tree.path("real/sub"));
  EXPECT_EQ(realPath(tree.path("missing")).failure(), std::errc::no_such_file_or_directory);
}

}  // namespace
}  // namespace tidra
