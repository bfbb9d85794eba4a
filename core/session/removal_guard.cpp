#include "core/session/removal_guard.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

std::string realOrSame(const std::string& path) {
  const auto real = realPath(path);
  return real ? *real : path;
}

/// The rest of a sentence that begins with "is in use: ".
std::string described(const PlaceUse& use, const std::string& place) {
  const auto user = fmt::format("{} (process {})", escapedForTerminal(use.program), use.process);
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
      return fmt::format("{} works in {}", user, use.path == place ? "it" : path);
    case UseKind::rootFolder:
      return fmt::format("{} has its root folder in {}", user, use.path == place ? "it" : path);
    case UseKind::mappedFile:
      return fmt::format("{} has mapped {}", user, path);
    case UseKind::openFile:
      return fmt::format("{} has opened {}", user, path);
  }
  return user;
}

bool holdsKeepFile(const std::string& folder) {
  return static_cast<bool>(pathFacts(joinedPath(folder, RemovalGuard::keepFile)));
}

}  // namespace

RemovalGuard::RemovalGuard(const TidraPathResolver& resolver) : home_(realOrSame(resolver.home)) {}

std::optional<std::string> RemovalGuard::reasonToKeep(const std::string& path,
                                                      const std::optional<std::string>& project) {
  for (const std::string& folder : {path, project.value_or(path)}) {
    if (holdsKeepFile(folder)) return fmt::format("is kept by {}", escapedForTerminal(joinedPath(folder, keepFile)));
  }
  refreshUsage();
  const std::string place = realOrSame(path);
  if (isSameOrInside(home_, place)) return std::nullopt;  // protected whoever uses it
  if (const auto use = usage_.userOf(place)) return fmt::format("is in use: {}", described(*use, place));
  if (!project) return std::nullopt;
  const std::string folder = realOrSame(*project);
  // Whoever works in the home folder, or in what holds it, does not work on a project for that.
  if (isSameOrInside(home_, folder)) return std::nullopt;
  const auto use = usage_.workerIn(folder);
  if (!use) return std::nullopt;
  if (use->kind != UseKind::workingFolder) return fmt::format("is in use: {}, in its project", described(*use, folder));
  return fmt::format("is in use: {} (process {}) works in its project", escapedForTerminal(use->program), use->process);
}

/// Where there is much to look through, it is looked at less often.
void RemovalGuard::refreshUsage() {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::seconds shortest{2};
  constexpr int shareOfTime = 10;
  const auto started = Clock::now();
  if (started < freshUntil_) return;
  usage_ = UsageSnapshot::take();
  const auto now = Clock::now();
  freshUntil_ = now + std::max<Clock::duration>(shortest, shareOfTime * (now - started));
}

}  // namespace tidra
