// Who is using a folder at this moment.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tidra {

/// What ties a process to a place, the strongest first.
enum class UseKind {
  lockedFile,
  program,   // the file that runs
  argument,  // what it was started with, such as the script of an interpreter or a folder to serve
  starter,   // as the two above, of a process that started this one
  workingFolder,
  rootFolder,
  mappedFile,  // a library, or data
  openFile,    // or an open folder; that somebody watches it for changes is no use
};

/// One process's hold on a place.
struct PlaceUse {
  UseKind kind = UseKind::workingFolder;
  std::int64_t process = 0;  // its id
  std::string program;       // its short name
  std::string path;          // the file or folder that it uses

  bool operator==(const PlaceUse&) const = default;
};

/// What processes held when the object was made. What belongs to other users is seen as far as the system shows it.
class UsageSnapshot {
 public:
  /// Leaves out this process. Of those that started it the working and the root folder do not count, which are where
  /// the user happens to stand, and of their arguments only files that the first two name by an absolute path, since
  /// the others may be the roots. Of other processes the first 64 arguments within 8 KiB are looked at: files and
  /// folders, relative to the working folder, links resolved, also behind "=", "file://" and ":". Of a process the
  /// first 10,000 open and about as many mapped files are looked at, of all 200,000 and some 600,000, those of new
  /// processes first; on a machine where there are more the rest is not in the snapshot. Empty on platforms that do not
  /// tell.
  static UsageSnapshot take();

  /// A process that uses `folder` or something below it; with several the kind decides that comes first in UseKind.
  std::optional<PlaceUse> userOf(const std::string& folder) const;

  /// A process that works in `folder` or below it, runs from there or was started with something there; none of those
  /// that started this one.
  std::optional<PlaceUse> workerIn(const std::string& folder) const;

  /// A process that works in just this folder; none of those that started this one.
  std::optional<PlaceUse> workerAt(const std::string& folder) const;

  void add(PlaceUse use);

 private:
  static constexpr std::size_t kinds = 8;
  using Users = std::map<std::string, std::pair<std::int64_t, std::string>>;  // by path: a process and its name

  std::optional<PlaceUse> find(UseKind kind, const std::string& folder) const;

  std::array<Users, kinds> users_;  // by kind; of several at one path the first
};

}  // namespace tidra
