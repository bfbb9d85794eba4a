// Trees deeper than PATH_MAX and than the descriptor limit.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <climits>
#include <cstdlib>

#include "core/platform/file_descriptor.h"
#include "core/scan/directory_size.h"
#include "tests/core/scan/scan_fixture.h"

namespace tidra {
namespace {

const RuleCatalog targetCatalog = catalogOf({plainRule("target")});

FileDescriptor opened(int parent, const std::string& name) {
  return FileDescriptor(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

FileDescriptor madeFolder(int parent, const std::string& name) {
  EXPECT_EQ(::mkdirat(parent, name.c_str(), 0755), 0);
  return opened(parent, name);
}

void makeFile(int parent, const char* name, std::string_view bytes) {
  const FileDescriptor file(::openat(parent, name, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  EXPECT_EQ(::write(file.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

/// A chain of folders of one name with an artefact of three bytes at its end.
void makeChain(const std::string& folder, const std::string& name, int depth) {
  FileDescriptor current = opened(AT_FDCWD, folder);
  for (int i = 0; i < depth; ++i) current = madeFolder(current.get(), name);
  makeFile(madeFolder(current.get(), "target").get(), "f", "123");
}

TEST(WalkDepth, AChainMayBeThousandsOfFoldersDeep) {
  const TemporaryTree tree;
  constexpr int depth = 2500;
  makeChain(tree.root(), "d", depth);
  tree.makeFolder("p/target");
  makeChain(tree.path("p/target"), "d", depth);
  const auto findings = plain(Scanner::scan(requestFor(tree, targetCatalog)).findings);
  ASSERT_EQ(findings.size(), 2U);
  EXPECT_EQ(findings[0].path.size(), tree.root().size() + 2 * depth + 7);
  EXPECT_GT(findings[0].path.size(), std::size_t{PATH_MAX}) << "more than the system takes at once";
  EXPECT_EQ(findings[0].path, *findings[0].groupRoot + "/target");
  EXPECT_EQ(TidraDirectorySizeReader::read(findings[0].path), 3U);
  EXPECT_EQ(findings[0].sizeBytes, 3U);
  EXPECT_EQ(findings[1].path, tree.path("p/target"));
  EXPECT_EQ(findings[1].sizeBytes, 3U);
}

/// A tree in which every level waits for a sibling of the next. True when everything is found with few descriptors.
bool combIsFound(rlim_t descriptors, unsigned workers) {
  constexpr std::size_t depth = 200;
  const TemporaryTree tree;
  {
    FileDescriptor current = opened(AT_FDCWD, tree.root());
    for (std::size_t i = 0; i < depth; ++i) {
      const FileDescriptor leaf = madeFolder(current.get(), "leaf");
      makeFile(madeFolder(leaf.get(), "target").get(), "f", "123");
      current = madeFolder(current.get(), "d");
    }
  }
  const rlimit few{descriptors, descriptors};
  if (::setrlimit(RLIMIT_NOFILE, &few) != 0) return false;
  auto request = requestFor(tree, targetCatalog);
  request.workers = workers;
  std::uint64_t bytes = 0;
  const auto result = Scanner::scan(request);
  for (const auto& finding : plain(result.findings)) bytes += finding.sizeBytes;
  std::fprintf(stderr, "%zu findings with %llu bytes\n", result.findings.size(),
               static_cast<unsigned long long>(bytes));
  return result.findings.size() == depth && bytes == 3 * depth;
}

TEST(WalkDepthDeathTest, NothingIsLostWhenDescriptorsAreFewerThanLevels) {
  // Each in its own process: a hard limit cannot be raised again, and the walk reads it once.
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(std::exit(combIsFound(128, 1) ? 0 : 1), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(std::exit(combIsFound(128, 16) ? 0 : 1), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace tidra
