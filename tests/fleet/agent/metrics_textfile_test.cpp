#include "fleet/agent/metrics_textfile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "core/platform/files.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_mount.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

std::string temporaryName(const std::string& target) { return target + ".tmp-" + std::to_string(::getpid()); }

TEST(MetricsTextfile, IsReadableForEverybodyWithItsFoldersUnderAnyMask) {
  const TemporaryTree tree;
  tree.makeFolder("there");
  tree.setMode("there", 0700);
  const auto former = ::umask(0077);
  const std::string path = tree.path("there/new/deeper/tidra.prom");
  MetricsTextfile::write("first\n", path);
  MetricsTextfile::write("second\n", path);
  ::umask(former);
  EXPECT_EQ(*readFile(path), "second\n");
  const auto entries = tree.snapshot();
  ASSERT_EQ(entries.size(), 5U);  // the root, three folders and the file: nothing temporary
  EXPECT_EQ(entries[1].mode, 0700U) << "a folder that was there keeps its mode";
  EXPECT_EQ(entries[2].mode, 0755U);
  EXPECT_EQ(entries[3].mode, 0755U);
  EXPECT_EQ(entries[4].mode, 0644U);
}

TEST(MetricsTextfile, NeverFollowsALinkAndReplacesALeftover) {
  const TemporaryTree tree;
  const auto victim = tree.writeFile("victim", "precious", 0600);
  const auto path = tree.symlink("tidra.prom", victim);
  tree.symlink(temporaryName("tidra.prom"), victim);
  MetricsTextfile::write("text\n", path);
  EXPECT_EQ(*readFile(victim), "precious");
  auto entries = tree.snapshot();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[1].type, 'f') << "the link itself made way";
  EXPECT_EQ(entries[2].mode, 0600U);

  tree.writeFile(temporaryName("tidra.prom"), "half a text, much longer than the new one", 0444);
  MetricsTextfile::write("newer\n", path);
  EXPECT_EQ(*readFile(path), "newer\n");
  EXPECT_EQ(tree.snapshot().size(), 3U);
}

TEST(MetricsTextfile, AFailureNamesThePathAndLeavesEverythingAsItWas) {
  const TemporaryTree tree;
  tree.writeFile("file", "kept");
  tree.makeFolder("folder.prom/inner");
  tree.writeFile("blocked.prom", "kept");
  tree.makeFolder(temporaryName("blocked.prom"));
  ASSERT_EQ(::mkfifo(tree.path("pipe").c_str(), 0600), 0);
  const auto before = withoutFolderTimes(tree.snapshot());
  const auto failure = [&](const std::string& relative) {
    return messageOf<std::system_error>([&] { MetricsTextfile::write("new", tree.path(relative)); });
  };
  EXPECT_EQ(failure("file/tidra.prom"), tree.path("file") + " cannot be made: File exists");
  EXPECT_EQ(failure("file/below/tidra.prom"), tree.path("file/below") + " cannot be made: Not a directory");
  EXPECT_EQ(failure("folder.prom"), tree.path("folder.prom") + " cannot be written: Invalid argument");
  EXPECT_EQ(failure("pipe"), tree.path("pipe") + " cannot be written: Invalid argument");
  EXPECT_EQ(failure("blocked.prom"), tree.path("blocked.prom") + " cannot be written: Is a directory");
  EXPECT_EQ(withoutFolderTimes(tree.snapshot()), before);
}

TEST(MetricsTextfile, OnAFullVolumeTheFormerTextStaysWhole) {
  const TemporaryTree tree;
  const TemporaryMount small(tree.makeFolder("small"), "size=64k,mode=755");
  if (!small) GTEST_SKIP() << "mounting is not permitted";
  const auto path = tree.path("small/tidra.prom");
  MetricsTextfile::write("former\n", path);
  EXPECT_EQ(messageOf<std::system_error>([&] { MetricsTextfile::write(std::string(200'000, 'x'), path); }),
            path + " cannot be written: No space left on device");
  EXPECT_EQ(*readFile(path), "former\n");
  EXPECT_EQ(tree.snapshot().size(), 3U) << "the temporary file is still there";
}

TEST(MetricsTextfile, AReaderNeverMeetsAPart) {
  const TemporaryTree tree;
  const auto path = tree.path("tidra.prom");
  const std::string texts[] = {std::string(100'000, 'a'), std::string(60'000, 'b')};
  MetricsTextfile::write(texts[0], path);
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int round = 0; round < 50; ++round) MetricsTextfile::write(texts[round % 2], path);
    done = true;
  });
  while (!done) {
    const auto read = readFile(path);
    EXPECT_TRUE(read && (*read == texts[0] || *read == texts[1]));
  }
  writer.join();
}

}  // namespace
}  // namespace tidra
