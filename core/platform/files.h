// Whole files: reading them, and replacing them so that a reader or a crash meets the old file or the new one, whole.
#pragma once

#include <string>
#include <string_view>

#include "core/base/errors.h"

namespace tidra {

/// The bytes of a file.
Outcome<std::string> readFile(const std::string& path);

/// Writes a temporary file beside `path` (or beside the file that a link there points to), flushes it to disk, renames
/// it over `path` and flushes the folder. `path` keeps its former content when anything fails. Throws std::system_error
/// whose what() names the path.
void replaceFile(const std::string& path, std::string_view bytes, unsigned mode = 0644);

/// True when `path` names a regular file that the running user may execute.
bool isExecutableFile(const std::string& path);

/// The absolute path without links, "." or ".."; none when it does not exist.
Outcome<std::string> realPath(const std::string& path);

}  // namespace tidra
