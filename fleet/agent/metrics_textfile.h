// The metrics as a file for the node exporter's textfile collector.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

struct MetricsTextfile {
  /// Replaces the file at `path` by an atomic rename. Missing folders are created. The file and these folders are
  /// world-readable regardless of the umask, since collectors run as another user. The temporary file is `path` +
  /// ".tmp-" + pid, which collectors ignore; it is removed on failure too, and a stale one is replaced. Symlinks at
  /// either place are not followed. Throws std::system_error that names the path; the former file then remains.
  static void write(std::string_view text, const std::string& path);
};

}  // namespace tidra
