#include "core/session/layer_figures.h"

#include "core/platform/directory_reader.h"
#include "tests/support/mounted_file_system.h"

namespace tidra {
namespace {

TEST(LayerFigures, OfWhatALowerLayerKeepsAreNothing) {
  const TemporaryTree tree;
  const MountedFileSystem volume(tree, R"(
    mount -t tmpfs none $W; mkdir -p $W/l/kept $W/l/changed; sleep 0.02; mkdir $W/u $W/w
    mount -t overlay -o lowerdir=$W/l,upperdir=$W/u,workdir=$W/w none $V; touch $V/changed/f; mkdir $V/made)");
  if (!volume) GTEST_SKIP() << "cannot be mounted here";
  for (const char* name : {"kept", "changed", "made"}) {
    FoundArtifact found;
    found.place = volume.path(name);
    found.identity = pathFacts(found.place)->identity;
    found.setUse({.diskBytes = 8192, .freeableBytes = 4096, .shared = {{1, 2, 4096, 1, 2}}});
    std::vector findings{found};
    settleLowerLayers(findings, mountPoints());
    if (name != std::string("kept")) {
      EXPECT_EQ(findings.front(), found) << name;
      continue;
    }
    EXPECT_EQ(findings.front().finding.freeableBytes, 0U);
    EXPECT_EQ(findings.front().finding.diskBytes, 8192U);
    EXPECT_EQ(findings.front().finding.difference, SizeDifference::imageLayer);
    EXPECT_TRUE(findings.front().shared.empty());
  }
}

}  // namespace
}  // namespace tidra
