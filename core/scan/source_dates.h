// When somebody last changed a project's own files.
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

/// `date` where it can be believed: one that is up to a day ahead of `now`, as clocks of other machines are, counts as
/// `now`. None for one further ahead, and for one before 1990: packers and file systems that keep no dates write such.
std::optional<TimePoint> credibleDate(TimePoint date, TimePoint now);

/// Reads the dates of files below projects: first those at a project's top and in the folders there, then the folders
/// that were changed last, since work on a project mostly makes, renames or removes some file. Not entered are folders
/// with an artefact's name, whether or not its rule applies, those of version control, what the walk skips or excludes,
/// mounts, bundle packages and links. Files count that are regular and not written by desktops when a folder is looked
/// at. May be shared between threads.
class SourceDateReader {
 public:
  /// Where reading a project ends, with the newest date until then.
  struct Limits {
    std::size_t entries = 1000;
    std::chrono::milliseconds time{2000};
    std::size_t depth = 64;  // levels of folders below the project
    /// A file as recent as that ends the reading at once: newer ones change neither the class of activity nor the idle
    /// days.
    std::chrono::seconds fresh = std::chrono::hours{12};
  };

  /// `walk` is the walk that finds the projects, its root without links.
  SourceDateReader(const FilesystemArtifactScanner::Request& walk, TimePoint now, Limits limits);
  SourceDateReader(const FilesystemArtifactScanner::Request& walk, TimePoint now)
      : SourceDateReader(walk, now, Limits{}) {}

  /// The newest credible date of a file of the project, a path without links; none when there is no such file, or the
  /// folder cannot be read. `shouldStop` is polled between folders.
  std::optional<TimePoint> newest(const std::string& project, const std::function<bool()>& shouldStop) const;

  /// True for a date that later ones need not be looked for.
  bool isFresh(TimePoint date) const { return date >= now_ - limits_.fresh; }

  TimePoint now() const { return now_; }

 private:
  class Search;
  bool isEntered(std::string_view name, const FolderNode& parent) const;

  WalkFilter filter_;
  std::set<std::string, std::less<>> artifactNames_;
  std::set<std::pair<std::string, std::string>> artifactsBelow_;  // parent's name and own
  TimePoint now_;
  Limits limits_;
};

}  // namespace tidra
