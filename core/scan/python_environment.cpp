#include "core/scan/python_environment.h"

#include <algorithm>
#include <array>
#include <initializer_list>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/folder_contents.h"

namespace tidra {

bool holdsNothingButItsInstaller(const std::string& environment) {
  constexpr std::array bundled{std::string_view{"pip"}, std::string_view{"setuptools"}, std::string_view{"wheel"}};
  const std::string packages = firstMatch(environment, listing(environment), "lib/*/site-packages");
  if (packages.empty()) return false;
  for (const FolderEntry& entry : listing(joinedPath(environment, packages))) {
    if (!entry.name.ends_with(".dist-info") && !entry.name.ends_with(".egg-info")) continue;
    if (std::find(bundled.begin(), bundled.end(), std::string_view(entry.name).substr(0, entry.name.find('-'))) ==
        bundled.end())
      return false;
  }
  return true;
}

bool listsPackages(const std::string& project, const std::string& name) {
  constexpr std::size_t largest = 1_MiB;
  const auto text = readRegularFile(joinedPath(project, name), largest);
  if (!text) return text.failure() == std::errc::file_too_large;
  const auto holdsAny = [&](std::initializer_list<const char*> words) {
    return std::any_of(words.begin(), words.end(), [&](auto word) { return text->find(word) != std::string::npos; });
  };
  if (name == "pyproject.toml") return holdsAny({"dependencies", "[project]", "[dependency-groups]"});
  if (name == "setup.cfg") return holdsAny({"install_requires", "[metadata]"});
  if (name == "setup.py") return holdsAny({"setup("});
  const auto lines = splitNonEmpty(*text, '\n');
  return std::any_of(lines.begin(), lines.end(), [](std::string_view line) {
    const auto said = trimmed(line);
    return !said.empty() && !said.starts_with('#');
  });
}

}  // namespace tidra
