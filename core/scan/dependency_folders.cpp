#include "core/scan/dependency_folders.h"

#include <algorithm>
#include <array>

#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/scan/name_map.h"

namespace tidra {
namespace {

constexpr std::array installersNames{
    std::string_view{"node_modules"},  std::string_view{"bower_components"}, std::string_view{"jspm_packages"},
    std::string_view{"site-packages"}, std::string_view{"dist-packages"},    std::string_view{".pnpm-store"},
};

constexpr std::array environmentParts{
    std::string_view{"bin"},     std::string_view{"lib"},     std::string_view{"lib64"},
    std::string_view{"Lib"},     std::string_view{"share"},   std::string_view{"include"},
    std::string_view{"Scripts"}, std::string_view{"Include"}, std::string_view{"etc"},
};

/// Files and folders that identify an installer.
constexpr std::array signNames{
    std::string_view{"pyvenv.cfg"},  std::string_view{"conda-meta"},     std::string_view{".cargo-checksum.json"},
    std::string_view{"modules.txt"}, std::string_view{"autoload.php"},   std::string_view{"bundle"},
    std::string_view{"gems"},        std::string_view{"specifications"},
};

template <std::size_t size>
bool isIn(const std::array<std::string_view, size>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

NameMap<bool> makeSignMap() {
  NameMap<bool> map;
  for (const std::string_view name : signNames) map[name] = true;
  return map;
}

PackageSigns signsOf(const std::string& folder) {
  PackageSigns signs(lastPathComponent(folder));
  for (const std::string_view name : signNames) {
    if (pathFacts(joinedPath(folder, name))) signs.note(name);
  }
  return signs;
}

}  // namespace

bool DependencyFolders::isNamedSo(std::string_view folderName) { return isIn(installersNames, folderName); }

std::optional<std::string> DependencyFolders::holding(const std::string& path) {
  // No project path is this deep; bounds the number of lstat() calls.
  constexpr int mostLevels = 256;
  std::size_t end = path.find('/', 1);
  for (int level = 0; level < mostLevels; ++level, end = path.find('/', end + 1)) {
    const std::string folder = path.substr(0, end);
    if (isNamedSo(lastPathComponent(folder))) return folder;
    const PackageSigns signs = signsOf(folder);
    if (signs.isDependencyFolder()) return folder;
    if (end == std::string::npos) return std::nullopt;
    const std::string_view next = std::string_view(path).substr(end + 1);
    if (signs.isEnvironmentPart(next.substr(0, next.find('/')))) return folder;
  }
  return std::nullopt;
}

bool PackageSigns::mayBeSign(std::string_view entryName) {
  static const NameMap<bool> signs = makeSignMap();
  return signs.find(entryName) != nullptr;
}

void PackageSigns::note(std::string_view entryName) {
  if (entryName == "pyvenv.cfg") isEnvironment_ = true;
  if (entryName == "conda-meta") isConda_ = true;
  if (entryName == ".cargo-checksum.json") isCrate_ = true;
  if (entryName == "modules.txt" || entryName == "autoload.php" || entryName == "bundle") holdsVendored_ = true;
  if (entryName == "gems") holdsGems_ = true;
  if (entryName == "specifications") holdsGemSpecifications_ = true;
}

bool PackageSigns::isEnvironmentPart(std::string_view subfolder) const {
  return isEnvironment_ && isIn(environmentParts, subfolder);
}

}  // namespace tidra
