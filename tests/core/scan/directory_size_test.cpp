#include "core/scan/directory_size.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/core/scan/scan_fixture.h"

namespace tidra {
namespace {

using Sizes = std::vector<std::optional<std::uint64_t>>;

Sizes readSizes(const std::vector<std::string>& paths, const TidraDirectorySizeReader::Options& options) {
  Sizes sizes;
  for (const auto& measured : TidraDirectorySizeReader::readAll(paths, options)) {
    sizes.push_back(measured ? std::optional(measured->bytes) : std::nullopt);
  }
  return sizes;
}

TEST(DirectorySize, CountsContentOncePerLinkAndFollowsNone) {
  const TemporaryTree tree;
  const TemporaryTree outside;
  makeEntries(outside, {"big=123456789"});
  makeEntries(tree, {"p/a/f=12345", "p/g=1", "p/link->" + outside.path("big"), "p/folder->" + outside.root(),
                     "p/up->..", "p/Tool.app/f=1234567", "p/.hidden/f=12"});
  std::filesystem::create_hard_link(tree.path("p/a/f"), tree.path("p/again"));
  constexpr std::uint64_t length = std::uint64_t{3} << 32U;
  tree.writeFileOfSize("p/sparse", length);
  EXPECT_EQ(TidraDirectorySizeReader::read(tree.path("p")), length + 5 + 5 + 1 + 2);
}

TEST(DirectorySize, WhatCannotBeOpenedHoldsNothing) {
  const TemporaryTree tree;
  makeEntries(tree, {"file=123", "dangling->nowhere", "closed/f=1", "p/closed/f=1", "p/f=12"});
  for (const char* closed : {"closed", "p/closed"}) tree.setMode(closed, 0);
  const WithoutPrivileges bound(tree);
  for (const char* none : {"missing", "file", "dangling", "closed"}) {
    EXPECT_EQ(TidraDirectorySizeReader::read(tree.path(none)), 0U) << none;
  }
  EXPECT_EQ(TidraDirectorySizeReader::read(tree.path("p")), 2U);
}

TEST(DirectorySize, IsUnknownWhenAttributesCannotBeReadOrTimeIsUp) {
  const TemporaryTree tree;
  makeEntries(tree, {"p/listable/f=1", "p/f=1", "q/f=12"});
  tree.setMode("p/listable", 0444);
  EXPECT_EQ(TidraDirectorySizeReader::read(tree.path("q"), std::chrono::milliseconds{0}), std::nullopt);
  EXPECT_EQ(readSizes({tree.path("q")}, {.limit = {}, .shouldCancel = [] { return true; }}), Sizes{std::nullopt});
  const WithoutPrivileges bound(tree);
  EXPECT_EQ(readSizes({tree.path("q"), tree.path("p")}, {}), (Sizes{2, std::nullopt}));
}

TEST(DirectorySize, LeavesOutWhatIsMountedInside) {
  const TemporaryTree tree;
  makeEntries(tree, {"p/f=1", "p/a/disk/f=12", "p/a/f=123", "link->p"});
  const std::vector<MountPoint> mounts{{"/", "ext4", "8:1"}, {tree.path("p/a/disk"), "ext4", "8:2"}};
  EXPECT_EQ(readSizes({tree.path("p"), tree.path("link"), tree.path("p/a/disk")},
                      {.mounts = mounts, .limit = {}, .shouldCancel = {}}),
            (Sizes{4, 4, 2}));
}

TEST(DirectorySize, SeveralFoldersComeInTheirOrder) {
  const TemporaryTree tree;
  std::vector<std::string> paths;
  Sizes expected;
  for (std::size_t i = 0; i < 60; ++i) {
    const std::string folder = "p" + std::to_string((i * 37) % 30);  // each twice
    tree.writeFile(folder + "/deep/er/f", std::string((i * 37) % 30, 'x'));
    paths.push_back(tree.path(folder));
    expected.emplace_back((i * 37) % 30);
  }
  for (const unsigned workers : {1U, 16U}) {
    EXPECT_EQ(readSizes(paths, {workers, {}, {}}), expected) << workers << " workers";
  }
  EXPECT_EQ(readSizes({}, {}), Sizes{});
}

}  // namespace
}  // namespace tidra
