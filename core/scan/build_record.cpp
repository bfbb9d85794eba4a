#include "core/scan/build_record.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "core/base/byte_units.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

using Generator = BuildRecord::Generator;

/// Caches of the largest projects are a few hundred kilobytes.
constexpr std::size_t largestRecord = 4_MiB;
constexpr std::string_view fileOfMeson = "meson-info/meson-info.json";

std::string valueOfCache(std::string_view text, std::string_view key) {
  const std::string start = fmt::format("\n{}:INTERNAL=", key);
  const auto at = text.find(start);
  if (at == std::string_view::npos) return {};
  const auto value = text.substr(at + start.size());
  return std::string(value.substr(0, value.find('\n')));
}

std::string folderOfMeson(const nlohmann::json& json, const char* key) {
  if (!json.is_object() || !json.contains("directories") || !json["directories"].is_object()) return {};
  const auto& folders = json["directories"];
  return folders.contains(key) && folders[key].is_string() ? folders[key].get<std::string>() : std::string();
}

BuildRecord parsed(Generator generator, const std::string& text) {
  if (generator == Generator::cmake) {
    const std::string lines = '\n' + text;
    return {generator, valueOfCache(lines, "CMAKE_CACHEFILE_DIR"), valueOfCache(lines, "CMAKE_HOME_DIRECTORY")};
  }
  const auto json = nlohmann::json::parse(text, nullptr, false);
  return {generator, folderOfMeson(json, "build"), folderOfMeson(json, "source")};
}

/// Returns a path of a command: relative in the project, quoted where a shell would split it.
std::string asArgument(const std::string& path, const std::string& project) {
  const bool isBelow = path != project && isSameOrInside(path, project);
  std::string shown = isBelow ? std::string(pathBelow(path, project)) : path;
  if (shown.find_first_of(" \t\n'\"\\$&;|<>()*?[]`!#~") == std::string::npos) return shown;
  std::string quoted = "'";
  for (const char character : shown) quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
  return quoted + "'";
}

}  // namespace

std::optional<BuildRecord> BuildRecord::in(const std::string& folder, const std::vector<FolderEntry>& inside,
                                           std::uint32_t owner) {
  const auto has = [&](std::string_view name, EntryType type) {
    return std::any_of(inside.begin(), inside.end(),
                       [&](const FolderEntry& entry) { return entry.name == name && entry.type == type; });
  };
  const bool isOfCMake = has("CMakeCache.txt", EntryType::regularFile);
  if (!isOfCMake && !has("meson-info", EntryType::directory)) return std::nullopt;
  const std::string file = joinedPath(folder, isOfCMake ? "CMakeCache.txt" : fileOfMeson);
  if (!vouchesFor(owner, file)) return std::nullopt;
  const auto text = readRegularFile(file, largestRecord);
  if (!text) return std::nullopt;
  auto record = parsed(isOfCMake ? Generator::cmake : Generator::meson, *text);
  if (!record.tree.starts_with('/') || !record.source.starts_with('/')) return std::nullopt;
  return record;
}

bool BuildRecord::isOf(const std::string& folder) const { return realPathOrSame(tree) == realPathOrSame(folder); }

bool BuildRecord::hasSourceOutside(const std::string& folder) const {
  const auto real = realPath(source);
  const std::string_view project = generator == Generator::cmake ? "CMakeLists.txt" : "meson.build";
  return real && !isSameOrInside(*real, realPathOrSame(folder)) && followedFacts(joinedPath(*real, project));
}

std::string BuildRecord::commands(const std::string& project) const {
  const std::string root = realPathOrSame(project);
  const std::string made = asArgument(realPathOrSame(tree), root);
  const std::string from = realPathOrSame(source);
  const bool isElsewhere = from != root;
  const std::string named = asArgument(from, root);
  if (generator == Generator::cmake) {
    return fmt::format("cmake {}-B {} && cmake --build {}", isElsewhere ? "-S " + named + ' ' : "", made, made);
  }
  return fmt::format("meson setup {}{} && meson compile -C {}", made, isElsewhere ? ' ' + named : "", made);
}

}  // namespace tidra
