// What a folder holds: a sample of its files.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/time_point.h"

namespace tidra {

/// A sample of the files and folders below a folder, breadth first.
struct FolderSample {
  std::size_t files = 0;
  std::size_t sources = 0;              // hand-written, and no build puts them into its output
  std::string source;                   // the name of the first of them
  std::string keepsake;                 // the first document, key or data base: hand-made, though a build may copy some
  TimePoint newest = TimePoint::min();  // mtime
  bool isWrittenHere = false;           // a file whose mtime is its ctime: neither copied nor unpacked

  static FolderSample of(const std::string& folder);
};

/// Whether people write files of this name, and no build puts them into its output.
bool isSource(std::string_view fileName);

/// Whether a file of this name is a document, a key or a data base.
bool isKeepsake(std::string_view fileName);

/// What isSource() and isKeepsake() name.
bool isHandMade(std::string_view fileName);

/// Returns the earliest ctime of the files in a folder, or in the nearest ancestor that has files. Unlike mtime it is
/// set by the kernel, so archives and copies cannot preserve it. Absent without files.
std::optional<TimePoint> arrivalOf(std::string folder);

}  // namespace tidra
