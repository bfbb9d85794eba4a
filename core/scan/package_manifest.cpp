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

/// Returns the path that a version of a dependency names: "../x", "file:../x", "link:./x", "git+file:///x#tag"; nullopt
/// for what comes from elsewhere.
std::optional<std::string> localPath(std::string_view version) {
  for (const std::string_view scheme : {"git+file:", "file:", "link:", "portal:"}) {
    if (!version.starts_with(scheme)) continue;
    version.remove_prefix(scheme.size());
    if (scheme.starts_with("git+")) version = version.substr(0, version.find('#'));
    return std::string(version.starts_with("//") ? version.substr(2) : version);
  }
  const bool isPath = version.starts_with('.') || version.starts_with('/') || version.starts_with("~/");
  return isPath ? std::optional<std::string>(version) : std::nullopt;
}

/// Whether a dependency is a path from which nothing can be installed. "~/x" counts as gone: tools differ in what it
/// means.
bool isGone(const std::string& project, const nlohmann::json& version) {
  if (!version.is_string()) return false;
  const auto path = localPath(version.get_ref<const std::string&>());
  const auto isNodeModules = [](const std::string& folder) { return lastPathComponent(folder) == "node_modules"; };
  return path && !isInstallable(project, *path, isNodeModules);
}

/// Whether a pattern of workspaces matches a folder with a "package.json" of its own. "**" spans up to three folders.
bool matchesWorkspace(const std::string& project, std::vector<FolderEntry> entries, std::string_view pattern) {
  constexpr std::ptrdiff_t mostFolders = 4;
  if (pattern.starts_with("./")) pattern.remove_prefix(2);
  if (pattern.find('{') != std::string_view::npos) return true;  // alternatives are not expanded here
  if (pattern.empty() || pattern == "." || pattern.starts_with('!') || pattern.starts_with('/')) return false;
  if (std::count(pattern.begin(), pattern.end(), '/') >= mostFolders) return false;
  std::erase_if(entries, [](const FolderEntry& entry) { return entry.name == "node_modules"; });
  const auto span = pattern.find("**");
  for (const std::string_view folders : {"*", "*/*", "*/*/*"}) {
    std::string path(pattern);
    if (span != std::string_view::npos) path.replace(span, 2, folders);
    if (!firstMatch(project, entries, joinedPath(path, "package.json")).empty()) return true;
    if (span == std::string_view::npos) return false;
  }
  return false;
}

/// Whether "workspaces", a list of patterns or an object with the list "packages", names at least one package.
bool namesWorkspace(const std::string& project, const nlohmann::json& workspaces) {
  constexpr std::size_t mostPatterns = 16;
  const auto& list = workspaces.is_object() && workspaces.contains("packages") ? workspaces["packages"] : workspaces;
  if (!list.is_array()) return false;
  const auto entries = listing(project);
  const auto end = list.begin() + static_cast<std::ptrdiff_t>(std::min(list.size(), mostPatterns));
  return std::any_of(list.begin(), end, [&](const auto& pattern) {
    return pattern.is_string() && matchesWorkspace(project, entries, pattern.template get_ref<const std::string&>());
  });
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

/// Whether npm's lock file names a package that is installed from elsewhere: neither a link to a folder nor a path.
/// Entries without "node_modules/" are the folders that links lead to.
bool namesPackageOfNpm(const std::string& text) {
  const auto json = nlohmann::json::parse(text, nullptr, false);
  if (!json.is_object()) return false;
  const auto isLocal = [](const nlohmann::json& package, const char* key) {
    return package.contains(key) && package[key].is_string() &&
           localPath(package[key].template get_ref<const std::string&>());
  };
  const auto holdsPackage = [&](const char* table, bool isByPath) {
    if (!json.contains(table) || !json[table].is_object()) return false;
    const auto entries = json[table].items();
    return std::any_of(entries.begin(), entries.end(), [&](const auto& entry) {
      const nlohmann::json& package = entry.value();
      if (!package.is_object() || package.contains("link")) return false;
      if (isByPath && entry.key().find("node_modules/") == std::string::npos) return false;
      return !isLocal(package, "resolved") && !isLocal(package, "version");
    });
  };
  return holdsPackage("packages", true) || holdsPackage("dependencies", false);
}

/// Whether a key such as "a@^1", "@x/a@npm:1", "/a@1.0.0" or "/a/1.0.0" names a package from elsewhere.
bool isKeyOfPackage(std::string_view key) {
  while (!key.empty() && std::string_view("\"'/").find(key.front()) != std::string_view::npos) key.remove_prefix(1);
  const auto separator = key.find('@', 1);
  const auto version = separator == std::string_view::npos ? key.substr(key.rfind('/') + 1) : key.substr(separator + 1);
  if (separator == std::string_view::npos && key.find('/') == std::string_view::npos) return false;
  return !version.empty() && !localPath(version) && !localPath(key) && !version.starts_with("workspace:");
}

/// The same of the lock files of yarn, whose entries begin their lines, and pnpm, whose entries are indented by two.
bool namesPackageOfYaml(const std::string& text, bool isOfPnpm) {
  bool isPackages = !isOfPnpm;
  const auto lines = splitNonEmpty(text, '\n');
  return std::any_of(lines.begin(), lines.end(), [&](std::string_view line) {
    if (line == "\r") return false;
    if (isOfPnpm && line.front() != ' ') isPackages = line.starts_with("packages:");
    if (!isPackages || line.find(':') == std::string_view::npos) return false;
    const auto indent = line.find_first_not_of(' ');
    if (indent != (isOfPnpm ? 2U : 0U) || line[indent] == '#') return false;
    return isKeyOfPackage(line.substr(indent));
  });
}

/// Whether a lock file names at least one package that an installer brings back from elsewhere.
bool namesLockedPackage(const std::string& name, const std::string& text) {
  // bun removes the file when there are no packages. In its text form each from a registry has a hash.
  if (name == "bun.lockb") return text.starts_with("#!/usr/bin/env bun\nbun-lockfile-format");
  if (name == "bun.lock") {
    constexpr std::array<std::string_view, 4> origins{"\"sha512-", "@github:", "@git+https:", "@git+ssh:"};
    return std::any_of(origins.begin(), origins.end(),
                       [&](std::string_view origin) { return text.find(origin) != std::string::npos; });
  }
  return name.ends_with(".json") ? namesPackageOfNpm(text) : namesPackageOfYaml(text, name == "pnpm-lock.yaml");
}

}  // namespace

PackageManifest::PackageManifest(const std::string& project) : project_(project) {
  const auto text = readRegularFile(joinedPath(project, "package.json"), largestManifest);
  namesPackages_ = !text && text.failure() == std::errc::file_too_large;
  const auto json = text ? nlohmann::json::parse(*text, nullptr, false) : nlohmann::json();
  if (!json.is_object()) return;
  for (const char* kind : {"dependencies", "devDependencies", "optionalDependencies", "peerDependencies"}) {
    if (!json.contains(kind) || !json[kind].is_object() || json[kind].empty()) continue;
    namesPackages_ = true;
    lacksPackage_ = lacksPackage_ || std::any_of(json[kind].begin(), json[kind].end(),
                                                 [&](const auto& version) { return isGone(project, version); });
  }
  if (json.contains("workspaces")) {
    const auto& workspaces = json["workspaces"];
    hasWorkspaces_ = workspaces.is_structured() && !workspaces.empty();
    namesPackages_ = namesPackages_ || namesWorkspace(project, workspaces);
  }
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

std::string packageManagerOf(const std::string& project) {
  const auto text = readRegularFile(joinedPath(project, "package.json"), largestManifest);
  const auto json = nlohmann::json::parse(text ? *text : std::string(), nullptr, false);
  if (!json.is_object() || !json.contains("packageManager") || !json["packageManager"].is_string()) return {};
  const auto named = json["packageManager"].get<std::string>();
  return named.substr(0, named.find('@'));
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
