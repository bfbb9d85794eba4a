// What keeps a finding from being removed although its tier would allow it.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "core/platform/path_resolver.h"
#include "core/platform/usage.h"

namespace tidra {

class RemovalGuard {
 public:
  static constexpr const char* keepFile = ".tidra-keep";

  explicit RemovalGuard(const TidraPathResolver& resolver);

  /// Why this one stays, as the rest of a sentence that begins with its path; none when nothing speaks against removal.
  /// A file ".tidra-keep" in it or its project, a process that works in it or its project, runs from there or was
  /// started with something there, and one that has locked, mapped or opened a file in it. `project` is the project's
  /// folder; absent outside projects. Looks at the processes again when that was some seconds ago.
  std::optional<std::string> reasonToKeep(const std::string& path, const std::optional<std::string>& project);

 private:
  void refreshUsage();

  std::string home_;  // without links
  UsageSnapshot usage_;
  std::chrono::steady_clock::time_point freshUntil_{};
};

}  // namespace tidra
