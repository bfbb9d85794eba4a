#include "core/scan/build_output.h"

#include <algorithm>
#include <array>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/folder_sample.h"

namespace tidra {
namespace {

/// Manifests that no generator writes into a build folder.
constexpr std::string_view handWrittenManifests =
    "package.json go.mod Cargo.toml pom.xml setup.py pyproject.toml build.xml CMakeLists.txt meson.build composer.json "
    "Gemfile *.gemspec *.csproj configure.ac build.gradle build.gradle.kts build.sbt Package.swift deno.json "
    "deno.jsonc requirements*.txt mix.exs pubspec.yaml";

/// What generators write at the top of a build folder, beside what only they leave there.
constexpr std::string_view otherGeneratorMarks = "args.gn config.status";
constexpr std::string_view generatedManifests = "Makefile GNUmakefile build.ninja *.sln";
constexpr std::string_view generatedSources = "*.cmake *.tcl *.sh *.c *.cc *.cpp *.cxx *.h *.hpp";

/// Documents and keys that no generator writes at the top of a build tree, beside isKeepsake().
constexpr std::string_view keptBesideRecords = "*.pdf *.PDF";

constexpr std::array ordinaryNames{std::string_view{"build"}, std::string_view{"dist"}, std::string_view{"vendor"},
                                   std::string_view{"coverage"}, std::string_view{"target"}};

}  // namespace

bool isCommonName(const ArtifactMaker& maker) {
  return !maker.folder.starts_with('.') && maker.folder != "node_modules";
}

bool isOrdinaryName(const ArtifactMaker& maker) {
  return std::find(ordinaryNames.begin(), ordinaryNames.end(), maker.folder) != ordinaryNames.end();
}

BuildOutput::BuildOutput(const ArtifactMaker& maker, const std::string& folder, const std::vector<FolderEntry>& inside,
                         std::uint32_t owner)
    : maker_(maker), folder_(folder), inside_(inside), owner_(owner), record_(BuildRecord::in(folder, inside, owner)) {
  constexpr int mostLevels = 2;
  if (!mayHoldRecord()) return;
  if (record_ && record_->isOf(folder)) {
    trees_ = {*record_};
  } else if (firstOf(folder, inside, BuildRecord::marks).empty()) {
    trees_ = treesInside(mostLevels);
  }
}

BuildOutput::BuildOutput(const BuildOutput& outer, const std::string& folder, const std::vector<FolderEntry>& inside)
    : maker_(outer.maker_),
      folder_(folder),
      inside_(inside),
      owner_(outer.owner_),
      record_(BuildRecord::in(folder, inside, outer.owner_)) {
  if (record_ && record_->isOf(folder)) trees_ = {*record_};
}

/// Of a folder every entry of which is a build tree, or a folder of such; empty otherwise.
std::vector<BuildRecord> BuildOutput::treesInside(int levels) const {
  constexpr std::size_t mostTrees = 16;
  std::vector<BuildRecord> trees;
  if (inside_.size() > mostTrees) return trees;
  for (const FolderEntry& entry : inside_) {
    const std::string path = joinedPath(folder_, entry.name);
    if (entry.type != EntryType::directory || !vouchesFor(owner_, path)) return {};
    const auto entries = listing(path);
    const BuildOutput below(*this, path, entries);
    const bool isTree = !below.trees_.empty();
    if (isTree && (!below.manifestOfOwnProject().empty() || below.handMadeAtTop())) return {};
    const bool mayHoldTrees = !isTree && !below.record_ && levels > 1;
    const auto found = mayHoldTrees ? below.treesInside(levels - 1) : below.trees_;
    if (found.empty() || (!trees.empty() && found.front().generator != trees.front().generator)) return {};
    trees.insert(trees.end(), found.begin(), found.end());
  }
  std::sort(trees.begin(), trees.end(),
            [](const BuildRecord& one, const BuildRecord& other) { return one.tree < other.tree; });
  return trees;
}

/// Whether generators that leave records are among the makers of folders of this name.
bool BuildOutput::mayHoldRecord() const {
  const auto known = splitNonEmpty(maker_.marks, ' ');
  return std::any_of(known.begin(), known.end(),
                     [](std::string_view mark) { return matchesOne(std::string(mark), BuildRecord::marks); });
}

bool BuildOutput::isGenerated() const {
  return record_.has_value() || !firstOf(folder_, inside_, otherGeneratorMarks).empty();
}

std::string BuildOutput::mark() const {
  if (!strayRecord().empty()) return {};
  if (trees_.empty()) return firstOf(folder_, inside_, maker_.marks, owner_);
  const std::string tree = realPathOrSame(trees_.front().tree);
  const std::string folder = realPathOrSame(folder_);
  const std::string_view mark = trees_.front().mark();
  return tree == folder ? std::string(mark) : joinedPath(pathBelow(tree, folder), mark);
}

std::string BuildOutput::strayRecord() const {
  return mayHoldRecord() && trees_.empty() ? firstOf(folder_, inside_, BuildRecord::marks) : std::string();
}

std::string BuildOutput::manifestOfOwnProject() const {
  if (!isCommonName(maker_)) return {};
  auto manifest = firstOf(folder_, inside_, handWrittenManifests);
  if (manifest.empty() && !isGenerated()) manifest = firstOf(folder_, inside_, generatedManifests);
  return manifest;
}

std::optional<EvidenceGap> BuildOutput::handMadeAtTop() const {
  if (!isOrdinaryName(maker_) && !mayHoldRecord()) return std::nullopt;
  // Composer writes source into "vendor". Generators write all kinds of source, but seldom a "main.c".
  const bool holdsSource = maker_.folder == "vendor";
  for (const FolderEntry& entry : inside_) {
    if (entry.type != EntryType::regularFile) continue;
    const bool isKept = isKeepsake(entry.name) || (record_ && matchesOne(entry.name, keptBesideRecords));
    if (isKept) return EvidenceGap{EvidenceGap::Reason::keepsake, entry.name};
    const bool isOfGenerator =
        isGenerated() && !entry.name.starts_with("main.") && matchesOne(entry.name, generatedSources);
    if (!holdsSource && isSource(entry.name) && !isOfGenerator) {
      return EvidenceGap{EvidenceGap::Reason::ownFiles, entry.name};
    }
  }
  return std::nullopt;
}

}  // namespace tidra
