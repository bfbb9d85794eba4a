// What files of /proc say about processes. Everything in them may be wrong: a process can rewrite its command line.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tidra {

struct ProcessFiles {
  /// Parses a whole text as a number.
  static std::optional<std::int64_t> number(std::string_view text);

  /// Returns the paths of sockets by their inode. Parses "0000000000000000: 00000002 00000000 00010000 0001 01 4711
  /// /run/socket".
  static std::map<std::string, std::string, std::less<>> boundSockets();

  /// Returns process and inode of each lock. Parses "1: FLOCK  ADVISORY  WRITE 4711 fd:01:262150 0 EOF". OFD locks,
  /// owned by an open file instead of a process, have -1; waiting processes are marked "->".
  static std::set<std::pair<std::int64_t, std::int64_t>> heldLocks();

  /// Returns the first `most` arguments of a process.
  static std::vector<std::string> firstArguments(std::int64_t process, std::size_t most);

  /// Returns the parts of an argument that may be paths: "--root=dist", "file:///srv/dist", "lib/a.jar:target/classes".
  static std::vector<std::string_view> possiblePaths(std::string_view argument);

  /// Returns a path that leads to the same for this program as `path` does for a process: "/dev/fd/3" and "/proc/self"
  /// mean something else in each.
  static std::string asSeenBy(std::int64_t process, const std::string& path);

  /// Returns the last field of a line of "maps"; empty for anonymous memory. The kernel escapes only line feeds in it.
  static std::string mappedPath(std::string_view line);
};

}  // namespace tidra
