// The metrics as a file for the textfile collector of a node exporter.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

struct MetricsTextfile {
  /// Replaces the file at `path` as a whole: a collector meets the old text or the new one. Missing folders are made.
  /// Everybody may read the file and the folders made, whatever the process's mask, since collectors run as a user of
  /// their own. The temporary file is `path` + ".tmp-" + the process id, a name that collectors pass over; it is gone
  /// afterwards, also after a failure, and one that a killed process with the same id left behind is replaced. No
  /// symbolic link in its place or in that of the file is followed. Throws std::system_error whose what() names the
  /// path; the former file is then still there.
  static void write(std::string_view text, const std::string& path);
};

}  // namespace tidra
