// The top of a folder that a tool may have made: what only tools leave there, and what only people write there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/scan/artifact_makers.h"
#include "core/scan/build_record.h"
#include "core/scan/evidence_gap.h"
#include "core/scan/folder_contents.h"

namespace tidra {

/// Files of projects, as patterns separated by blanks.
inline constexpr std::string_view projectManifests =
    "package.json go.mod Cargo.toml pom.xml setup.py pyproject.toml build.xml Makefile Makefile.am CMakeLists.txt "
    "meson.build composer.json Gemfile *.gemspec *.csproj BUILD BUILD.bazel configure.ac";

/// Whether people also use the name of the maker's folders.
bool isCommonName(const ArtifactMaker& maker);

/// Whether people also use that name for folders of documents of their own.
bool isOrdinaryName(const ArtifactMaker& maker);

/// The top of one such folder. Keeps the references that it is made of.
class BuildOutput {
 public:
  /// `inside` is the listing of the folder, `owner` its owner.
  BuildOutput(const ArtifactMaker& maker, const std::string& folder, const std::vector<FolderEntry>& inside,
              std::uint32_t owner);

  /// Returns the first mark of the tool that belongs to the owner, to root or to the running user; empty without one. A
  /// folder of nothing but build trees of one generator (CMake's presets: "build/debug", "build/gcc/release") counts
  /// as marked: "debug/CMakeCache.txt". A record of CMake or Meson that was not written for this folder rules all
  /// marks out.
  std::string mark() const;

  /// Returns the records of the build trees that the folder is, or consists of; empty for other folders.
  const std::vector<BuildRecord>& trees() const { return trees_; }

  /// Whether a generator of build files wrote into the folder, maybe when it lay elsewhere.
  bool isGenerated() const;

  /// Returns the name of a generator's record at the top that was not written for this folder; empty without one.
  std::string strayRecord() const;

  /// Returns what shows that a folder with the name of an artefact is a project itself, into which its tools wrote, as
  /// with "cmake ." in "build": a manifest that no generator writes. Empty if nothing does.
  std::string manifestOfOwnProject() const;

  /// Returns what a person put directly into a folder that people also call so, or that a generator claims: source,
  /// a document or a key. Absent without any.
  std::optional<EvidenceGap> handMadeAtTop() const;

 private:
  BuildOutput(const BuildOutput& outer, const std::string& folder, const std::vector<FolderEntry>& inside);
  std::vector<BuildRecord> treesInside(int levels) const;
  bool mayHoldRecord() const;

  const ArtifactMaker& maker_;
  const std::string& folder_;
  const std::vector<FolderEntry>& inside_;
  std::uint32_t owner_;
  std::optional<BuildRecord> record_;
  std::vector<BuildRecord> trees_;
};

}  // namespace tidra
