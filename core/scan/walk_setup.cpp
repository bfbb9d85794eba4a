#include "core/scan/walk_setup.h"

#include <fmt/format.h>

#include <algorithm>
#include <variant>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/rules/skip_list.h"
#include "core/scan/artifact_evidence.h"
#include "core/scan/artifact_makers.h"
#include "core/scan/dependency_folders.h"
#include "core/scan/enclosing_output.h"

namespace tidra {
namespace {

using Request = FilesystemArtifactScanner::Request;

/// Tidra's folder in any home folder.
constexpr const char* ownFolder = ".tidra";

TidraScanExclusionFilter skipList(const Request& request) {
  TidraScanExclusionFilter skip;
  skip.globPatterns.emplace_back(ownFolder);
  for (const std::string& entry : request.catalog->walkSkip(request.platform)) {
    if (!SkipList::isPath(entry)) {
      skip.globPatterns.push_back(entry);
    } else if (auto path = request.resolver.resolve(entry)) {
      skip.pathPrefixes.push_back(std::move(*path));
    }
  }
  return skip;
}

/// Returns the user's skipped folders with symbolic links resolved, since the home folder may be a link. System paths
/// are compared literally only: macOS's temporary folder is a link into one of them.
std::vector<std::string> realSkippedOfPerson(const Request& request) {
  std::vector<std::string> paths;
  for (const std::string& entry : request.catalog->walkSkip(request.platform)) {
    if (!SkipList::isPath(entry) || entry.starts_with('/')) continue;
    const auto path = request.resolver.resolve(entry);
    if (!path) continue;
    if (const auto real = realPath(*path)) paths.push_back(*real);
  }
  return paths;
}

/// A root reached through a symbolic link has two spellings. Converts resolved paths to the one the walk uses.
class Spelling {
 public:
  explicit Spelling(const std::string& root) : root_(root) {
    const auto real = realPath(root);
    realRoot_ = real ? *real : root;
  }

  const std::string& realRoot() const { return realRoot_; }

  std::string asWalked(const std::string& path) const {
    if (realRoot_ == root_ || !isSameOrInside(path, realRoot_)) return path;
    return standardizedPath(root_ + "/" + path.substr(realRoot_ == "/" ? 0 : realRoot_.size()));
  }

 private:
  const std::string& root_;
  std::string realRoot_;
};

void addMounts(WalkFilter& filter, const Request& request, const Spelling& spelling) {
  filter.setLayers(OverlayLayers(request.mounts));
  const MountPoint* own = mountHolding(request.mounts, spelling.realRoot());
  for (const MountPoint& listed : request.mounts) {
    if (listed.path == spelling.realRoot() || !isSameOrInside(listed.path, spelling.realRoot())) continue;
    const MountPoint& mount = *mountHolding(request.mounts, listed.path);
    const std::string walked = spelling.asWalked(mount.path);
    filter.addMount(walked);
    const bool elsewhere = request.oneFileSystem && own != nullptr && mount.device != own->device;
    if (elsewhere || isPseudoFileSystem(mount.fileSystem)) filter.addPrefix(walked);
  }
}

/// Adds a path as written and, if different, in the walk's spelling.
template <class Add>
void addSpelled(const std::string& path, const Spelling& spelling, Add add) {
  add(path);
  const auto real = realPath(path);
  const std::string walked = spelling.asWalked(real ? *real : path);
  if (walked != path) add(walked);
}

void addStores(WalkFilter& filter, const Request& request, const Spelling& spelling) {
  for (const Store& store : request.stores) {
    addSpelled(store.path, spelling, [&](const std::string& path) { filter.addStore({path, store.kind}); });
  }
}

std::optional<std::string> storeObstacle(const Request& request, const Spelling& spelling, const std::string& shown) {
  StoreFinder finder(request.resolver.home, request.stores);
  const auto store = finder.holding(spelling.realRoot());
  if (!store) return std::nullopt;
  const std::string place = escapedForTerminal(request.resolver.displayPath(store->path));
  return store->path == spelling.realRoot()
             ? fmt::format("{} is {}, which scans skip.", shown, describedStore(store->kind))
             : fmt::format("{} lies in {}, {}, which scans skip.", shown, place, describedStore(store->kind));
}

/// Whether a root yields no findings: it or an ancestor is an excluded folder, or a pattern excludes an ancestor.
/// Patterns do not apply to the root's own name, because the user named it, unless only some of its entries are
/// scanned.
bool isKeptOut(const Request& request, const std::string& root) {
  WalkFilter folders;
  WalkFilter patterns;
  for (const std::string& prefix : request.exclusionFilter.pathPrefixes) {
    folders.addPrefix(prefix);
    if (const auto real = realPath(prefix)) folders.addPrefix(*real);
  }
  for (const std::string& pattern : request.exclusionFilter.globPatterns) patterns.addPattern(pattern);
  return folders.bars(root) || patterns.bars(request.onlyNames ? root : parentPath(root));
}

/// Returns the end of a sentence that names the option to walk a skipped root; empty if there is none.
std::string wayToUnskip(const Request& request) {
  const auto entry = SkipList::entryCovering(request.root, *request.catalog, request.platform, request.resolver);
  if (!entry) return {};
  return fmt::format("; --unskip '{}', in a policy scan.unskip, walks it", escapedForTerminal(*entry));
}

}  // namespace

std::optional<std::string> obstacleOfRoot(const Request& request) {
  WalkFilter skip;
  skip.add(skipList(request));
  const std::string shown = escapedForTerminal(request.resolver.displayPath(request.root));
  WalkFilter realSkip;
  for (const std::string& path : realSkippedOfPerson(request)) realSkip.addPrefix(path);
  const Spelling spelling(request.root);
  if (auto obstacle = storeObstacle(request, spelling, shown)) return obstacle;
  // Before the skip list, which includes the usual pseudo file systems: no option walks these.
  const MountPoint* mount = mountHolding(request.mounts, spelling.realRoot());
  if (mount != nullptr && isPseudoFileSystem(mount->fileSystem)) {
    return fmt::format("{} is on a {} file system, which holds no projects.", shown, mount->fileSystem);
  }
  if (skip.bars(request.root) || realSkip.bars(spelling.realRoot())) {
    return fmt::format(
        "{} lies in a folder that scans skip (see tidra rules list --skipped), so no projects are searched in it{}.",
        shown, wayToUnskip(request));
  }
  if (isKeptOut(request, request.root) || isKeptOut(request, spelling.realRoot())) {
    return fmt::format("{} is excluded, so nothing is reported for it.", shown);
  }
  if (const auto holder = DependencyFolders::holding(spelling.realRoot())) {
    return fmt::format("{} lies in the dependency folder {}, which is one finding as a whole; scan {} instead.", shown,
                       escapedForTerminal(request.resolver.displayPath(*holder)),
                       escapedForTerminal(request.resolver.displayPath(parentPath(*holder))));
  }
  if (const auto output = EnclosingOutput::certainlyHolding(spelling.realRoot(), request.resolver)) {
    const std::string where = *output == spelling.realRoot()
                                  ? "is the output of a tool, which"
                                  : fmt::format("lies in {}, the output of a tool, which",
                                                escapedForTerminal(request.resolver.displayPath(*output)));
    return fmt::format("{} {} is one finding as a whole; scan {} instead.", shown, where,
                       escapedForTerminal(request.resolver.displayPath(parentPath(*output))));
  }
  return std::nullopt;
}

bool isWholeArtefact(const Request& request) {
  const std::string real = Spelling(request.root).realRoot();
  if (const auto holder = DependencyFolders::holding(real)) return *holder == real;
  if (const auto output = EnclosingOutput::certainlyHolding(real, request.resolver)) return *output == real;
  const std::string_view name = lastPathComponent(real);
  const auto& rules = request.catalog->projectRules;
  const bool isNamedSo =
      std::any_of(rules.begin(), rules.end(), [&](const auto& rule) { return rule.folderName == name; });
  if (!isNamedSo || makerOf(name) == nullptr) return false;
  return std::holds_alternative<std::string>(ArtifactEvidence(request.resolver).of(real));
}

WalkFilter makeWalkFilter(const Request& request) {
  const Spelling spelling(request.root);
  WalkFilter filter;
  const TidraScanExclusionFilter skip = skipList(request);
  filter.add({{}, skip.globPatterns});
  filter.add({{}, request.exclusionFilter.globPatterns});
  for (const std::string& pattern : request.exclusionFilter.keptPatterns) filter.addKept(pattern);
  for (const std::string& path : skip.pathPrefixes) {
    addSpelled(path, spelling, [&](const std::string& spelled) { filter.addPrefix(spelled); });
  }
  for (const std::string& path : request.exclusionFilter.pathPrefixes) {
    addSpelled(path, spelling, [&](const std::string& spelled) { filter.addExcluded(spelled); });
  }
  filter.addSpelling(request.root, spelling.realRoot());
  filter.watch(request.exclusionFilter.use);
  addStores(filter, request, spelling);
  addMounts(filter, request, spelling);
  return filter;
}

}  // namespace tidra
