// Shows a folder in the desktop's file manager.
#pragma once

#include <string>

#include "core/platform/path_resolver.h"

namespace tidra {

/// Opens the folder, or the one that holds the file. Does not wait for the file manager. Returns a sentence for the
/// user.
std::string openInFileManager(const std::string& path, const Environment& environment);

}  // namespace tidra
