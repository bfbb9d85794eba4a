#include "core/scan/package_manifest.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::size_t largestManifest = 1_MiB;

/// Whether a dependency "file:../x", "link:./x" or "portal:x" is gone.
bool isGone(const std::string& project, const nlohmann::json& version) {
  if (!version.is_string()) return false;
  const auto& text = version.get_ref<const std::string&>();
  for (const std::string_view scheme : {"file:", "link:", "portal:"}) {
    if (!text.starts_with(scheme)) continue;
    const std::string place = text.substr(scheme.size());
    return !followedFacts(place.starts_with('/') ? place : joinedPath(project, place));
  }
  return false;
}

/// Whether the text before a quoted path loads the file there: "require('", "from '", "require(path.join(__dirname, '".
bool isLoadedAt(std::string_view text, std::size_t at) {
  if (at == 0 || std::string_view("'\"`").find(text[at - 1]) == std::string_view::npos) return false;
  constexpr std::size_t longestCall = 256;
  const std::size_t start = at > longestCall ? at - longestCall : 0;
  constexpr std::array<std::string_view, 8> loaders{
      "require(", "require.resolve(", "requireDir(", "loadTasks(", "import(", "src(", "import", "from"};
  const auto isLoader = [&](std::size_t end) {
    const auto said = trimmed(text.substr(start, end - start));
    return std::any_of(loaders.begin(), loaders.end(), [&](auto loader) { return said.ends_with(loader); });
  };
  if (isLoader(at - 1)) return true;
  // The calls around the path that are still open there.
  int closed = 0;
  for (std::size_t i = at - 1; i > start && text[i - 1] != ';'; --i) {
    if (text[i - 1] == ')') ++closed;
    if (text[i - 1] == '(' && --closed < 0) {
      if (isLoader(i)) return true;
      closed = 0;
    }
  }
  return false;
}

/// Whether a script's text loads the folder or a file in it.
bool loadsFrom(std::string_view text, std::string_view folder) {
  for (auto at = text.find(folder); at != std::string_view::npos; at = text.find(folder, at + 1)) {
    const auto end = at + folder.size();
    if (end < text.size() && std::string_view("/'\"`").find(text[end]) == std::string_view::npos) continue;
    auto start = at;
    while (text.substr(0, start).ends_with("./")) start -= text.substr(0, start).ends_with("../") ? 3 : 2;
    if (isLoadedAt(text, start)) return true;
  }
  return false;
}

bool isConfiguration(std::string_view name) {
  return name.find(".config.") != std::string_view::npos || name.starts_with("gulpfile") ||
         name.starts_with("Gruntfile") || name.starts_with("webpack") || name.starts_with("rollup");
}

bool namesLockedPackage(const std::string& name, const std::string& text) {
  if (name == "bun.lockb") return !text.empty();
  if (name == "bun.lock") return text.find("\"sha512-") != std::string::npos || text.find("@workspace:") != text.npos;
  if (name.ends_with(".json")) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object()) return false;
    if (json.contains("dependencies") && !json["dependencies"].empty()) return true;
    return json.contains("packages") && json["packages"].size() > json["packages"].count("");
  }
  const auto lines = splitNonEmpty(text, '\n');
  return std::any_of(lines.begin(), lines.end(), [&](std::string_view line) {
    if (name == "pnpm-lock.yaml") return line.starts_with("packages:");
    return isAsciiAlphanumeric(line.front()) || line.front() == '"' || line.front() == '@';
  });
}

}  // namespace

PackageManifest::PackageManifest(const std::string& project) : project_(project) {
  const auto text = readRegularFile(joinedPath(project, "package.json"), largestManifest);
  namesPackages_ = !text && text.failure() == std::errc::file_too_large;
  const auto json = text ? nlohmann::json::parse(*text, nullptr, false) : nlohmann::json();
  if (!json.is_object()) return;
  for (const auto& [key, value] : json.items()) {
    if (key == "workspaces") hasWorkspaces_ = value.is_structured() && !value.empty();
    if (!key.ends_with("ependencies") || !value.is_structured() || value.empty()) continue;
    namesPackages_ = true;
    lacksPackage_ = lacksPackage_ || std::any_of(value.begin(), value.end(),
                                                 [&](const auto& version) { return isGone(project, version); });
  }
  namesPackages_ = namesPackages_ || hasWorkspaces_;
  if (!json.contains("scripts") || !json["scripts"].is_object()) return;
  for (const auto& [name, command] : json["scripts"].items()) {
    if (command.is_string()) scripts_.add(name, command.get<std::string>());
  }
}

bool PackageManifest::mayMake(std::string_view folder, const std::vector<FolderEntry>& beside) const {
  if (folder != "dist" && folder != "build") return true;
  if (!scripts_.mayMake(folder, project_)) return false;
  // Configuration files, and the files that scripts run: "make.js" of "node make".
  std::vector<std::string> files;
  for (const FolderEntry& entry : beside) {
    if (isConfiguration(entry.name)) files.push_back(entry.name);
  }
  for (const std::string& word : scripts_.words()) {
    if (word.starts_with('-') || word.starts_with('/')) continue;
    files.push_back(word);
    if (word.find('.') == std::string::npos) files.push_back(word + ".js");
  }
  constexpr std::size_t largest = 256_KiB;
  return std::none_of(files.begin(), files.end(), [&](const std::string& file) {
    const auto text = readRegularFile(joinedPath(project_, file), largest);
    return text && loadsFrom(*text, folder);
  });
}

bool holdsPackageLock(const std::string& folder, std::uint32_t owner) {
  constexpr std::array<std::string_view, 6> locks{
      "package-lock.json", "npm-shrinkwrap.json", "yarn.lock", "pnpm-lock.yaml", "bun.lock", "bun.lockb"};
  const auto entries = listing(folder);
  return std::any_of(entries.begin(), entries.end(), [&](const FolderEntry& entry) {
    if (std::find(locks.begin(), locks.end(), entry.name) == locks.end()) return false;
    const std::string path = joinedPath(folder, entry.name);
    if (!vouchesFor(owner, path)) return false;
    const auto text = readRegularFile(path, largestManifest);
    return text ? namesLockedPackage(entry.name, *text) : text.failure() == std::errc::file_too_large;
  });
}

bool isWorkspaceRoot(const std::string& folder, std::uint32_t owner) {
  const auto entries = listing(folder);
  return !firstOf(folder, entries, "pnpm-workspace.yaml", owner).empty() ||
         (!firstOf(folder, entries, "package.json", owner).empty() && PackageManifest(folder).hasWorkspaces());
}

}  // namespace tidra
