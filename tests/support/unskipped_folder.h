// A folder for temporary trees that scans do not skip.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "core/platform/path_text.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

/// Puts temporary trees into the build folder when scans skip the default temporary folder.
inline void chooseTemporaryFolder() {
  const std::string usual = std::filesystem::canonical(std::filesystem::temp_directory_path());
  for (const std::string& skipped : RuleCatalog::builtIn().walkSkip(currentPlatform)) {
    if (skipped.starts_with('/') && isSameOrInside(usual, skipped)) ::setenv("TMPDIR", TIDRA_BINARY_DIR, 1);
  }
}

/// A base class whose constructor runs before a fixture creates its tree.
struct OutsideSkippedFolders {
  OutsideSkippedFolders() { chooseTemporaryFolder(); }
};

}  // namespace tidra
