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
  promptFolder,    // working folder of a shell at a terminal that runs no script; what it starts counts by itself
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
  /// Takes a snapshot of all processes:
  /// - This process: only its program. git processes that this program has started: nothing.
  /// - Its ancestors: programs, mapped files, and files named by absolute paths among the first two arguments. Their
  ///   working folder is where the user happens to be, and their other arguments may be the scan roots.
  /// - Its pipeline (`tidra | grep dist`): as other processes, but only files among the first two arguments.
  /// - Others: the first 64 arguments within 8 KiB, resolved against the working folder, also after "=", "file://" and
  ///   ":".
  /// Paths in other mounts and mount namespaces are mapped to ours. Deleted files are left out, except programs.
  /// Sockets: of this network namespace. Bounds: 10,000 descriptors and 1 MiB of mappings per process, 200,000 and
  /// 64 MiB in total, highest process ids first; the rest is missing. Empty on macOS.
  static UsageSnapshot take();

  /// Returns a process that uses `folder` or something below it; the strongest kind wins.
  std::optional<PlaceUse> userOf(const std::string& folder) const;

  /// Returns a process that works in or below `folder`, runs from there or was started with an argument there. Excludes
  /// ancestors of this process, and shells that wait at a prompt: a terminal left open in a project is no work on it.
  std::optional<PlaceUse> workerIn(const std::string& folder) const;

  /// Returns a process whose working folder is exactly `folder`. Excludes ancestors of this process.
  std::optional<PlaceUse> workerAt(const std::string& folder) const;

  void add(PlaceUse use);

 private:
  static constexpr std::size_t kinds = static_cast<std::size_t>(UseKind::boundSocket) + 1;  // the last one
  using Users = std::map<std::string, std::pair<std::int64_t, std::string>>;  // by path: process id and name

  std::optional<PlaceUse> find(UseKind kind, const std::string& folder) const;

  std::array<Users, kinds> users_;  // indexed by kind; per path the first process
};

}  // namespace tidra
