// Folders that a desktop shows as one file. A scan takes them as opaque: never entered, their insides not counted.
#pragma once

#include <string_view>

namespace tidra {

/// True when the folder name carries the extension of a bundle package, in any letter case.
bool isBundlePackage(std::string_view folderName);

}  // namespace tidra
