#include "core/scan/build_output.h"

#include <algorithm>
#include <array>

#include "core/base/text.h"
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
constexpr std::string_view generatorMarks = "CMakeCache.txt meson-info args.gn config.status";
constexpr std::string_view generatedManifests = "Makefile GNUmakefile build.ninja *.sln";
constexpr std::string_view generatedSources = "*.cmake *.tcl *.sh *.c *.cc *.cpp *.cxx *.h *.hpp";

/// Marks of generators whose build trees lie side by side in one folder.
constexpr std::array treeMarks{std::string_view{"CMakeCache.txt"}, std::string_view{"meson-info"}};

constexpr std::array ordinaryNames{std::string_view{"build"}, std::string_view{"dist"}, std::string_view{"vendor"},
                                   std::string_view{"coverage"}, std::string_view{"target"}};

/// Whether a generator of build files wrote into the folder.
bool isGenerated(const std::string& folder, const std::vector<FolderEntry>& inside) {
  return !firstOf(folder, inside, generatorMarks).empty();
}

struct TreeSearch {
  const ArtifactMaker& maker;
  std::string_view mark;
  std::uint32_t owner;
};

/// Returns the mark of the first build tree, if every entry of the folder is one or a folder of such; empty otherwise.
std::string markOfTrees(const TreeSearch& search, const std::string& folder, const std::vector<FolderEntry>& inside,
                        int levels) {
  constexpr std::size_t mostTrees = 16;
  if (inside.size() > mostTrees) return {};
  std::string first;
  for (const FolderEntry& entry : inside) {
    const std::string path = joinedPath(folder, entry.name);
    if (entry.type != EntryType::directory || !vouchesFor(search.owner, path)) return {};
    const auto below = listing(path);
    std::string mark = firstOf(path, below, search.mark, search.owner);
    const bool isTree = !mark.empty();
    if (isTree && !manifestOfOwnProject(search.maker, path, below).empty()) return {};
    if (isTree && !sourceAtTop(search.maker, path, below).empty()) return {};
    if (!isTree && levels > 1) mark = markOfTrees(search, path, below, levels - 1);
    if (mark.empty()) return {};
    std::string inFolder = joinedPath(entry.name, mark);
    if (first.empty() || inFolder < first) first = std::move(inFolder);
  }
  return first;
}

}  // namespace

bool isCommonName(const ArtifactMaker& maker) {
  return !maker.folder.starts_with('.') && maker.folder != "node_modules";
}

bool isOrdinaryName(const ArtifactMaker& maker) {
  return std::find(ordinaryNames.begin(), ordinaryNames.end(), maker.folder) != ordinaryNames.end();
}

std::string markOfTool(const ArtifactMaker& maker, const std::string& folder, const std::vector<FolderEntry>& inside,
                       std::uint32_t owner) {
  constexpr int mostLevels = 2;
  auto mark = firstOf(folder, inside, maker.marks, owner);
  for (const std::string_view tree : treeMarks) {
    if (!mark.empty()) break;
    const auto known = splitNonEmpty(maker.marks, ' ');
    const bool isMakers = std::find(known.begin(), known.end(), tree) != known.end();
    if (isMakers) mark = markOfTrees({maker, tree, owner}, folder, inside, mostLevels);
  }
  return mark;
}

std::string manifestOfOwnProject(const ArtifactMaker& maker, const std::string& folder,
                                 const std::vector<FolderEntry>& inside) {
  if (!isCommonName(maker)) return {};
  auto manifest = firstOf(folder, inside, handWrittenManifests);
  if (manifest.empty() && !isGenerated(folder, inside)) manifest = firstOf(folder, inside, generatedManifests);
  return manifest;
}

std::string sourceAtTop(const ArtifactMaker& maker, const std::string& folder, const std::vector<FolderEntry>& inside) {
  // Composer writes source into "vendor".
  if (maker.folder == "vendor" || !isOrdinaryName(maker)) return {};
  const bool isGenerators = isGenerated(folder, inside);
  const auto source = std::find_if(inside.begin(), inside.end(), [&](const FolderEntry& entry) {
    return entry.type == EntryType::regularFile && isSource(entry.name) &&
           !(isGenerators && matchesOne(entry.name, generatedSources));
  });
  return source == inside.end() ? std::string() : source->name;
}

}  // namespace tidra
