// Vetoes on removal: mounts, keep files and use by processes.
#pragma once

#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"
#include "core/platform/usage.h"
#include "core/scan/kept_inside.h"
#include "core/scan/repository_finder.h"
#include "core/session/refusal.h"

namespace tidra {

class RemovalGuard {
 public:
  static constexpr const char* keepFile = KeptInside::keepFile;

  RemovalGuard(const TidraPathResolver& resolver, std::vector<MountPoint> mounts);

  /// Starts to read in the background what processes use. The first question takes the answer, unless it is some
  /// seconds old by then. The destructor waits for it. Without a thread it reads at once.
  void prepare();

  /// Returns why a path must stay; nullopt if nothing prevents removal, and for targets of tools. Reasons: those of
  /// reasonUnremovable(); a file ".tidra-keep" in it or an ancestor (also along its resolved path), unless a stranger
  /// planted it in a world-writable folder; a process that works in it or its project, runs from there, was started
  /// with an argument there, or has locked, mapped or opened a file in it; a process that works between the project and
  /// the top of its repository, except the home folder's. `project` is the project folder; absent outside projects.
  /// Snapshots are cached for some seconds.
  [[nodiscard]] std::optional<Refusal> reasonToKeep(const std::string& path, const std::optional<std::string>& project);

  /// The same for what CleanupOptions::force does not override: mounts, and permissions that the running user lacks.
  /// Reads no processes.
  [[nodiscard]] std::optional<Refusal> reasonUnremovable(const std::string& path) const;

 private:
  std::optional<std::string> userOf(const std::string& path, const std::optional<std::string>& project);
  std::optional<std::string> keeperOf(const std::string& path, const std::optional<std::string>& project);
  std::optional<std::string> keeperAround(const std::string& folder);
  std::optional<PlaceUse> workerAround(const std::string& project);
  void refresh();

  using Clock = std::chrono::steady_clock;
  struct TimedSnapshot {
    UsageSnapshot usage;
    Clock::time_point freshUntil;
  };
  static TimedSnapshot takeSnapshot();

  std::string home_;  // symbolic links resolved
  std::vector<MountPoint> mounts_;
  UsageSnapshot usage_;
  RepositoryFinder repositories_;
  MarkedFolderFinder keepers_{keepFile};
  Clock::time_point freshUntil_{};
  std::future<TimedSnapshot> prepared_;
};

}  // namespace tidra
