// Dates of the last change to a project's own files.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "core/base/time_point.h"
#include "core/scan/artifact_scanner.h"
#include "core/scan/folder_node.h"
#include "core/scan/walk_filter.h"

namespace tidra {

/// Validates a date. Up to a day ahead of `now` (clock skew) becomes `now`. nullopt if further ahead or before 1990:
/// packers and file systems without dates write such values.
std::optional<TimePoint> credibleDate(TimePoint date, TimePoint now);

/// Reads modification dates of files below projects: the top two levels first, then the most recently changed folders.
/// Skips folders with an artefact's name (even if its rule does not apply), version control, the skip list and
/// exclusions, mounts, bundle packages and symbolic links. Only regular files count, without those that desktops write
/// when a folder is viewed. Thread-safe.
class SourceDateReader {
 public:
  /// Limits of a search; the newest date so far is returned.
  struct Limits {
    std::size_t entries = 500;
    std::chrono::milliseconds time{2000};
    std::size_t depth = 64;  // levels of folders below the project
    /// A file this recent ends the search: newer ones change neither activity nor idle days.
    std::chrono::seconds fresh = std::chrono::hours{12};
  };

  /// `walk` is the request of the project walk, its root with symbolic links resolved.
  SourceDateReader(const FilesystemArtifactScanner::Request& walk, TimePoint now, Limits limits);
  SourceDateReader(const FilesystemArtifactScanner::Request& walk, TimePoint now)
      : SourceDateReader(walk, now, Limits{}) {}

  /// Returns the newest credible date of a file in a project (path with symbolic links resolved); nullopt without such
  /// a file or for an unreadable folder. Polls `shouldStop` between folders.
  std::optional<TimePoint> newest(const std::string& project, const std::function<bool()>& shouldStop) const;

  /// As newest(), for 100,000 entries and 20 seconds: before a removal relies on the date.
  std::optional<TimePoint> newestOfMany(const std::string& project, const std::function<bool()>& shouldStop) const;

  /// Whether a date is recent enough to stop searching.
  bool isFresh(TimePoint date) const { return date >= now_ - limits_.fresh; }

  TimePoint now() const { return now_; }

 private:
  class Search;
  bool isEntered(std::string_view name, const FolderNode& parent) const;

  WalkFilter filter_;
  std::set<std::string, std::less<>> artifactNames_;
  std::set<std::pair<std::string, std::string>> artifactsBelow_;  // parent's name and own name
  TimePoint now_;
  Limits limits_;
};

}  // namespace tidra
