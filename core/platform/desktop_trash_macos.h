// The trash call of macOS.
#pragma once

#include <string>

#include "core/base/errors.h"

namespace tidra {

/// Moves a file or folder to the trash of its volume and returns its new path.
Outcome<std::string> moveToDesktopTrash(const std::string& path);

}  // namespace tidra
