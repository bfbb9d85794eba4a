// Bundle packages: folders that a desktop shows as one file. Scans neither enter nor count them.
#pragma once

#include <string_view>

namespace tidra {

/// Whether the name has the extension of a bundle package, in any letter case.
bool isBundlePackage(std::string_view folderName);

}  // namespace tidra
