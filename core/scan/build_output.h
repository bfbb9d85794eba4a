// The top of a folder that a tool may have made: what only tools leave there, and what only people write there.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/scan/artifact_makers.h"
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

/// Returns the first mark of the tool in the folder that belongs to the running user, to root or to `owner`, the
/// folder's owner; empty without one. A folder of nothing but build trees of one generator (CMake's presets:
/// "build/debug", "build/gcc/release") counts as marked: "debug/CMakeCache.txt". `inside` is its listing, here and
/// below.
std::string markOfTool(const ArtifactMaker& maker, const std::string& folder, const std::vector<FolderEntry>& inside,
                       std::uint32_t owner);

/// Returns what shows that a folder with the name of an artefact is a project itself, into which its tools wrote, as
/// with "cmake ." in "build": a manifest that no generator writes. Empty if nothing does.
std::string manifestOfOwnProject(const ArtifactMaker& maker, const std::string& folder,
                                 const std::vector<FolderEntry>& inside);

/// Returns hand-written source directly in a folder whose name people also use; empty without any.
std::string sourceAtTop(const ArtifactMaker& maker, const std::string& folder, const std::vector<FolderEntry>& inside);

}  // namespace tidra
