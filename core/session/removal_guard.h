// Vetoes on removal: keep files and use by processes.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "core/platform/path_resolver.h"
#include "core/platform/usage.h"
#include "core/scan/repository_finder.h"

namespace tidra {

class RemovalGuard {
 public:
  static constexpr const char* keepFile = ".tidra-keep";

  explicit RemovalGuard(const TidraPathResolver& resolver);

  /// Why this one stays, as the rest of a sentence that begins with its path; none when nothing speaks against removal.
  /// A file ".tidra-keep" in it or any folder around it, also along the path without links; one that a stranger put
  /// where everybody may write does not count. A process that works in it or its project, runs from there or was
  /// started with something there, that has locked, mapped or opened a file in it, and one that works in a folder
  /// between the project and the top of the repository around it; that of the home folder is none. `project` is the
  /// project's folder; absent outside projects. Nothing speaks against a tool's target. Looks at the processes, and at
  /// folders above the project, again when that was some seconds ago.
  std::optional<std::string> reasonToKeep(const std::string& path, const std::optional<std::string>& project);

 private:
  std::optional<std::string> keeperOf(const std::string& path, const std::optional<std::string>& project);
  std::optional<std::string> keeperAround(const std::string& folder);
  std::optional<PlaceUse> workerAround(const std::string& project);
  void refresh();

  std::string home_;  // symbolic links resolved
  UsageSnapshot usage_;
  RepositoryFinder repositories_;
  MarkedFolderFinder keepers_{keepFile};
  std::chrono::steady_clock::time_point freshUntil_{};
};

}  // namespace tidra
