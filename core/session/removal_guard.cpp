#include "core/session/removal_guard.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/protected_places.h"
#include "core/dispose/volumes.h"
#include "core/model/scan_artifact_finding.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "core/platform/spare_threads.h"

namespace tidra {
namespace {

/// Returns the rest of a sentence after "is in use: ".
std::string described(const PlaceUse& use, const std::string& place) {
  auto user = fmt::format("{} (process {})", escapedForTerminal(use.program), use.process);
  const std::string path = escapedForTerminal(use.path);
  switch (use.kind) {
    case UseKind::lockedFile:
      return fmt::format("{} has locked {}", user, path);
    case UseKind::program:
    case UseKind::starter:
      return fmt::format("{} runs from {}", user, path);
    case UseKind::argument:
      return fmt::format("{} was started with {}", user, path);
    case UseKind::workingFolder:
    case UseKind::pipelineFolder:
    case UseKind::promptFolder:
      return fmt::format("{} works in {}", user, use.path == place ? "it" : path);
    case UseKind::rootFolder:
      return fmt::format("{} has its root folder in {}", user, use.path == place ? "it" : path);
    case UseKind::mappedFile:
      return fmt::format("{} has mapped {}", user, path);
    case UseKind::openFile:
      return fmt::format("{} has opened {}", user, path);
    case UseKind::boundSocket:
      return fmt::format("{} listens on {}", user, path);
  }
  return user;
}

/// A keep file is a veto, so its owner matters.
bool holdsKeepFile(const std::string& folder) {
  const auto file = pathFacts(joinedPath(folder, RemovalGuard::keepFile));
  const auto facts = file ? followedFacts(folder) : file.failure();
  return facts && !isPlanted(*file, *facts);
}

/// Other obstacles, such as an entry that is gone, are left to the removal.
std::optional<std::string> reasonOfPermissions(const std::string& path) {
  try {
    const HeldEntry entry = holdEntry(path);
    requireEmptiable(entry);
    try {
      requireChangeable(entry);
    } catch (const DisposalError& error) {
      return fmt::format("cannot be removed by you: {}", error.what());
    }
  } catch (const DisposalError& error) {
    return error.what();
  } catch (const UnsafePathError&) {
    return std::nullopt;
  } catch (const std::system_error&) {
    return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

RemovalGuard::RemovalGuard(const TidraPathResolver& resolver, std::vector<MountPoint> mounts)
    : home_(realPathOrSame(resolver.home)), mounts_(std::move(mounts)) {}

std::optional<Refusal> RemovalGuard::reasonUnremovable(const std::string& path) const {
  if (isToolBackedTarget(path)) return std::nullopt;
  // Of a last component that is a symbolic link, the link is removed and not its target.
  const std::string place = joinedPath(realPathOrSame(parentPath(path)), lastPathComponent(path));
  if (isSameOrInside(home_, place)) return std::nullopt;  // protected anyway
  if (auto reason = ProtectedPlaces::reasonOfMount(place, mounts_)) {
    return Refusal{Refusal::Why::mount, std::move(*reason)};
  }
  if (auto reason = reasonOfPermissions(path)) return Refusal{Refusal::Why::permissions, std::move(*reason)};
  return std::nullopt;
}

std::optional<Refusal> RemovalGuard::reasonToKeep(const std::string& path, const std::optional<std::string>& project) {
  if (isToolBackedTarget(path)) return std::nullopt;
  if (auto reason = reasonUnremovable(path)) return reason;
  refresh();
  if (const auto keeper = keeperOf(path, project)) {
    return Refusal{Refusal::Why::keepFile,
                   fmt::format("is kept by {}", escapedForTerminal(joinedPath(*keeper, keepFile)))};
  }
  if (auto use = userOf(path, project)) return Refusal{Refusal::Why::inUse, "is in use: " + *use};
  return std::nullopt;
}

/// Returns which process uses it, and how.
std::optional<std::string> RemovalGuard::userOf(const std::string& path, const std::optional<std::string>& project) {
  const std::string place = realPathOrSame(path);
  if (isSameOrInside(home_, place)) return std::nullopt;  // protected anyway
  if (const auto use = usage_.userOf(place)) return described(*use, place);
  if (!project) return std::nullopt;
  const std::string folder = realPathOrSame(*project);
  // Working in the home folder, or above it, does not mean working on the project.
  if (isSameOrInside(home_, folder)) return std::nullopt;
  const auto use = usage_.workerIn(folder);
  if (use && use->kind != UseKind::workingFolder) {
    return described(*use, folder) + ", in its project";
  }
  if (const auto worker = use ? use : workerAround(folder)) {
    return fmt::format("{} (process {}) works in its {}", escapedForTerminal(worker->program), worker->process,
                       use ? "project" : fmt::format("repository, in {}", escapedForTerminal(worker->path)));
  }
  return std::nullopt;
}

/// Returns the folder whose keep file applies to this path.
std::optional<std::string> RemovalGuard::keeperOf(const std::string& path, const std::optional<std::string>& project) {
  for (const std::string& folder : {path, project.value_or(path)}) {
    if (holdsKeepFile(folder)) return folder;
  }
  if (auto keeper = keeperAround(parentPath(path))) return keeper;
  const std::string place = realPathOrSame(path);
  return place == path ? std::nullopt : keeperAround(parentPath(place));
}

std::optional<std::string> RemovalGuard::keeperAround(const std::string& folder) {
  const auto marked = keepers_.of(folder);
  return marked ? std::optional<std::string>(*marked) : std::nullopt;
}

/// Working at the top of a repository includes all of it; working in a sibling package does not.
std::optional<PlaceUse> RemovalGuard::workerAround(const std::string& project) {
  const auto repository = repositories_.of(project);
  if (!repository || isSameOrInside(home_, *repository)) return std::nullopt;
  for (std::string folder = project; folder.size() > repository->size();) {
    folder = parentPath(folder);
    if (auto use = usage_.workerAt(folder)) return use;
  }
  return std::nullopt;
}

void RemovalGuard::prepare() { prepared_ = startTask(&RemovalGuard::takeSnapshot); }

/// Expensive snapshots are taken less often: at most a tenth of the time.
RemovalGuard::TimedSnapshot RemovalGuard::takeSnapshot() {
  constexpr std::chrono::seconds shortest{2};
  constexpr int shareOfTime = 10;
  const auto started = Clock::now();
  TimedSnapshot snapshot{UsageSnapshot::take(), {}};
  const auto now = Clock::now();
  snapshot.freshUntil = now + std::max<Clock::duration>(shortest, shareOfTime * (now - started));
  return snapshot;
}

void RemovalGuard::refresh() {
  if (Clock::now() < freshUntil_) return;
  TimedSnapshot snapshot;
  if (prepared_.valid()) snapshot = prepared_.get();
  if (Clock::now() >= snapshot.freshUntil) snapshot = takeSnapshot();
  usage_ = std::move(snapshot.usage);
  freshUntil_ = snapshot.freshUntil;
  repositories_ = {};
  keepers_ = MarkedFolderFinder(keepFile);
}

}  // namespace tidra
