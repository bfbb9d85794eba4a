// Which processes use a folder.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tidra {

/// How a process uses a path, strongest first.
enum class UseKind {
  lockedFile,
  program,   // the file that runs
  argument,  // an argument: an interpreter's script, a served folder
  starter,   // program of this process, program or script of an ancestor
  workingFolder,
  rootFolder,
  mappedFile,      // a library or data
  openFile,        // file or folder; watching for changes (inotify) does not count
  pipelineFolder,  // working folder of a process that pipes connect to the standard streams of this one
  boundSocket,
};

/// One process's use of one path.
struct PlaceUse {
  UseKind kind = UseKind::workingFolder;
  std::int64_t process = 0;  // process id
  std::string program;       // short name, as in /proc/PID/comm
  std::string path;          // the file or folder that it uses

  bool operator==(const PlaceUse&) const = default;
};

/// Snapshot of what processes use. Other users' processes are included as far as the system shows them.
class UsageSnapshot {
 public:
  /// Excludes this process and git processes that this program has started. Of its ancestors only programs, mapped
  /// files and files named by an absolute path among the first two arguments count: their working folder is where the
  /// user happens to be, other arguments may be the scan roots. Of other processes the first 64 arguments within 8 KiB
  /// are resolved against the working folder, also behind
  /// "=", "file://" and ":"; of those in the pipeline of this process (`tidra | grep dist`) only files among the first
  /// two. Paths seen through other mounts, also of other mount namespaces, count as those of ours. Deleted files do not
  /// count, except programs. Sockets: of this network namespace. Bounded to 10,000 descriptors and 1 MiB of mappings
  /// per process, 200,000 and 64 MiB in total, newest processes first; the rest is missing. Empty on macOS.
  static UsageSnapshot take();

  /// Returns a process that uses `folder` or something below it; the strongest kind wins.
  std::optional<PlaceUse> userOf(const std::string& folder) const;

  /// Returns a process that works in or below `folder`, runs from there or was started with an argument there. Excludes
  /// ancestors of this process.
  std::optional<PlaceUse> workerIn(const std::string& folder) const;

  /// Returns a process whose working folder is exactly `folder`. Excludes ancestors of this process.
  std::optional<PlaceUse> workerAt(const std::string& folder) const;

  void add(PlaceUse use);

 private:
  static constexpr std::size_t kinds = 10;
  using Users = std::map<std::string, std::pair<std::int64_t, std::string>>;  // by path: process id and name

  std::optional<PlaceUse> find(UseKind kind, const std::string& folder) const;

  std::array<Users, kinds> users_;  // indexed by kind; per path the first process
};

}  // namespace tidra
