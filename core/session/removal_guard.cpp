#include "core/session/removal_guard.h"

#include <fmt/format.h>

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

std::string described(const PlaceUse& use) {
  return fmt::format("{} (process {})", escapedForTerminal(use.program), use.process);
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
  constexpr std::chrono::seconds freshFor{2};
  const auto now = std::chrono::steady_clock::now();
  if (taken_ == decltype(taken_){} || now - taken_ > freshFor) {
    usage_ = UsageSnapshot::take();
    taken_ = now;
  }
  const std::string place = realOrSame(path);
  if (isSameOrInside(home_, place)) return std::nullopt;  // protected whoever uses it
  if (const auto use = usage_.lockerIn(place)) {
    return fmt::format("is in use: {} has locked {}", described(*use), escapedForTerminal(use->path));
  }
  if (const auto use = usage_.workerIn(place)) return fmt::format("is in use: {} works in it", described(*use));
  if (!project) return std::nullopt;
  const std::string folder = realOrSame(*project);
  // Whoever works in the home folder, or in what holds it, does not work on a project for that.
  if (isSameOrInside(home_, folder)) return std::nullopt;
  const auto use = usage_.workerIn(folder);
  return use ? std::optional(fmt::format("is in use: {} works in its project", described(*use))) : std::nullopt;
}

}  // namespace tidra
