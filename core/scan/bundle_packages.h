// Bundle packages: folders that a desktop shows as one file. Walks do not enter them; measurements search them for what
// must stay and count their blocks, but not their logical size.
#pragma once

#include <string_view>

namespace tidra {

/// Whether the name has the extension of a bundle package, in any letter case.
bool isBundlePackage(std::string_view folderName);

}  // namespace tidra
