#include "core/platform/path_resolver.h"

#include "core/platform/path_text.h"

extern char** environ;

namespace tidra {
namespace {

bool isNameStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }

bool isNamePart(char c) { return isNameStart(c) || (c >= '0' && c <= '9'); }

struct Reference {
  std::size_t length = 0;  // 0 when no variable is referenced here
  std::string name;
};

/// The reference at `start`, where a "$" stands: "$NAME" with an optional "{" before and an optional "}" after the
/// name.
Reference referenceAt(std::string_view text, std::size_t start) {
  std::size_t nameStart = start + 1;
  if (nameStart < text.size() && text[nameStart] == '{') ++nameStart;
  std::size_t end = nameStart;
  while (end < text.size() && (end == nameStart ? isNameStart(text[end]) : isNamePart(text[end]))) ++end;
  if (end == nameStart) return {};
  std::string name(text.substr(nameStart, end - nameStart));
  if (end < text.size() && text[end] == '}') ++end;
  return {end - start, std::move(name)};
}

}  // namespace

Environment processEnvironment() {
  Environment environment;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    const auto equals = text.find('=');
    if (equals == std::string_view::npos) continue;
    environment.emplace(text.substr(0, equals), text.substr(equals + 1));
  }
  return environment;
}

std::optional<std::string> TidraPathResolver::resolve(std::string_view pathTemplate) const {
  std::string text = withHome(pathTemplate);
  if (text.find('$') != std::string::npos) {
    text = expandVariables(text);
    if (text.find('$') != std::string::npos) return std::nullopt;
  }
  return expandedPath(text);
}

std::string TidraPathResolver::expandedPath(std::string_view path) const {
  const std::string text = withHome(path);
  return standardizedPath(text.starts_with('/') ? text : joinedPath(home, text));
}

std::string TidraPathResolver::withHome(std::string_view path) const {
  return path == "~" || path.starts_with("~/") ? home + std::string(path.substr(1)) : std::string(path);
}

std::string TidraPathResolver::expandVariables(std::string_view text) const {
  std::string expanded;
  for (std::size_t i = 0; i < text.size();) {
    const Reference reference = text[i] == '$' ? referenceAt(text, i) : Reference{};
    const auto value = reference.length > 0 ? variable(reference.name) : std::nullopt;
    const std::size_t length = reference.length > 0 ? reference.length : 1;
    expanded += value ? std::string_view(*value) : text.substr(i, length);
    i += length;
  }
  return expanded;
}

std::optional<std::string> TidraPathResolver::variable(const std::string& name) const {
  if (const auto found = environment.find(name); found != environment.end()) return found->second;
  if (name == "XDG_CACHE_HOME") return joinedPath(home, ".cache");
  if (name == "XDG_CONFIG_HOME") return joinedPath(home, ".config");
  if (name == "XDG_DATA_HOME") return joinedPath(home, ".local/share");
  if (name == "XDG_STATE_HOME") return joinedPath(home, ".local/state");
  if (name == "HOME") return home;
  if (name == "TMPDIR") return "/tmp";
  return std::nullopt;
}

std::string TidraPathResolver::displayPath(std::string_view path) const {
  if (path == home) return "~";
  if (home != "/" && isSameOrInside(path, home)) return "~" + std::string(path.substr(home.size()));
  return std::string(path);
}

}  // namespace tidra
