#include "core/scan/source_dates.h"

#include <algorithm>
#include <array>
#include <memory>
#include <queue>
#include <tuple>

#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/scan/artifact_makers.h"
#include "core/scan/bundle_packages.h"
#include "core/scan/kept_inside.h"
#include "core/scan/walk_setup.h"

namespace tidra {
namespace {

constexpr std::array versionControl{".git", ".hg", ".svn", ".bzr", ".jj", "CVS"};
constexpr std::array writtenByLooking{".DS_Store", "Thumbs.db", "desktop.ini", ".directory"};

template <std::size_t count>
bool isOneOf(const std::array<const char*, count>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// A file ".git" is only written when a worktree or submodule is created. A keep file is a decision, not work: its date
/// would hide it as the reason why something stays.
bool isOwnFile(std::string_view name) {
  return !isOneOf(writtenByLooking, name) && !isOneOf(versionControl, name) && name != KeptInside::keepFile;
}

}  // namespace

std::optional<TimePoint> credibleDate(TimePoint date, TimePoint now) {
  using namespace std::chrono;
  constexpr TimePoint earliest = sys_days{year{1990} / January / 1};
  if (date < earliest || date > now + days{1}) return std::nullopt;
  return std::min(date, now);
}

/// Search of one project. Queued folders hold names only and are opened relative to the project: in a symlink race at
/// worst the dates of other files are read.
class SourceDateReader::Search {
 public:
  Search(const SourceDateReader& dates, const std::string& project, const Limits& limits,
         const std::function<bool()>& shouldStop)
      : dates_(dates), limits_(limits), shouldStop_(shouldStop), place_(dates.filter_.placeOf(project)) {
    auto opened = openDirectory(project);
    if (!opened) return;
    top_ = std::move(*opened);
    waiting_.push({std::make_shared<FolderNode>(nullptr, project, FileDescriptor{}), {}, place_, 0, {}, 0});
  }

  std::optional<TimePoint> run() {
    while (!waiting_.empty() && !isOver()) {
      const Folder folder = waiting_.top();
      waiting_.pop();
      if (const auto opened = openSubdirectory(top_.get(), folder.path.empty() ? "." : folder.path.c_str())) {
        read(folder, opened->get());
      }
    }
    return newest_;
  }

 private:
  struct Folder {
    std::shared_ptr<FolderNode> node;
    std::string path;  // relative to the project
    const WalkFilter::Place* place;
    std::size_t depth;
    TimePoint changed;
    std::size_t number;  // order of discovery

    /// The top two levels first, then the most recently changed folders: new, renamed and removed files change a
    /// folder's mtime.
    bool operator<(const Folder& other) const {
      const auto rank = [](const Folder& folder) {
        const bool isDeep = folder.depth > 1;
        return std::tuple(isDeep, isDeep ? -folder.changed.time_since_epoch() : std::chrono::seconds{}, folder.number);
      };
      return rank(other) < rank(*this);  // std::priority_queue returns the largest element
    }
  };

  void read(const Folder& folder, int descriptor) {
    const FolderFilter filter(dates_.filter_, folder.place, *folder.node);
    reader_.start(descriptor);
    for (DirectoryEntry entry; !isEnough() && reader_.next(entry);) {
      constexpr std::size_t entriesPerLookAtTheClock = 64;
      if (++entries_ % entriesPerLookAtTheClock == 0 && isOver()) return;
      if (entry.type == EntryType::regularFile) {
        if (isOwnFile(entry.name) && !filter.bars(entry.name)) {
          newest_ = std::max(newest_, dateOf(descriptor, entry.name));
        }
      } else if (entry.type == EntryType::directory && folder.depth < limits_.depth &&
                 dates_.isEntered(entry.name, *folder.node) && !filter.bars(entry.name)) {
        const auto* place = WalkFilter::childPlace(folder.place, entry.name);
        if (place != nullptr && place->mounted) continue;
        waiting_.push({std::make_shared<FolderNode>(folder.node, std::string(entry.name), FileDescriptor{}),
                       folder.path.empty() ? std::string(entry.name) : joinedPath(folder.path, entry.name), place,
                       folder.depth + 1, dateOf(descriptor, entry.name).value_or(TimePoint{}), entries_});
      }
    }
  }

  std::optional<TimePoint> dateOf(int folder, std::string_view name) const {
    const auto facts = entryFacts(folder, name.data());
    return facts ? credibleDate(facts->modified, dates_.now_) : std::nullopt;
  }

  bool isEnough() const { return entries_ >= limits_.entries || (newest_ && dates_.isFresh(*newest_)); }

  bool isOver() const { return isEnough() || Clock::now() >= end_ || shouldStop_(); }

  using Clock = std::chrono::steady_clock;

  const SourceDateReader& dates_;
  const Limits limits_;
  const std::function<bool()>& shouldStop_;
  const WalkFilter::Place* const place_;
  const Clock::time_point end_ = Clock::now() + limits_.time;
  FileDescriptor top_;
  std::priority_queue<Folder> waiting_;
  DirectoryReader reader_;
  std::size_t entries_ = 0;
  std::optional<TimePoint> newest_;
};

SourceDateReader::SourceDateReader(const FilesystemArtifactScanner::Request& walk, TimePoint now, Limits limits)
    : filter_(makeWalkFilter(walk)), now_(now), limits_(limits) {
  // Tools also create what a disabled rule looks for.
  for (const RuleCatalog* catalog : {walk.catalog, &RuleCatalog::builtIn()}) {
    for (const ProjectArtifactRule& rule : catalog->projectRules) {
      // What a pack demands more than a name for often has a name that people use for their own folders as well.
      if (makerOfPackRule(rule.id) != nullptr) continue;
      if (rule.parentName) {
        artifactsBelow_.emplace(*rule.parentName, rule.folderName);
      } else {
        artifactNames_.insert(rule.folderName);
      }
    }
  }
}

std::optional<TimePoint> SourceDateReader::newest(const std::string& project,
                                                  const std::function<bool()>& shouldStop) const {
  return Search(*this, project, limits_, shouldStop).run();
}

std::optional<TimePoint> SourceDateReader::newestOfMany(const std::string& project,
                                                        const std::function<bool()>& shouldStop) const {
  Limits limits = limits_;
  limits.entries = 100'000;
  limits.time = std::chrono::seconds{20};
  return Search(*this, project, limits, shouldStop).run();
}

bool SourceDateReader::isEntered(std::string_view name, const FolderNode& parent) const {
  if (artifactNames_.contains(name) || isOneOf(versionControl, name) || isBundlePackage(name)) return false;
  return !artifactsBelow_.contains({std::string(lastPathComponent(parent.name())), std::string(name)});
}

}  // namespace tidra
