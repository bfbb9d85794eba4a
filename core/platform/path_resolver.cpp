#include "core/platform/path_resolver.h"

#include <unistd.h>

#include "core/platform/path_text.h"
#include "core/platform/path_variables.h"

#ifdef __APPLE__
extern char** environ;  // elsewhere unistd.h declares it
#endif

namespace tidra {
namespace {

/// Relative paths are resolved against the home folder. Expands nothing.
std::string absolutePathOf(std::string_view text, const std::string& home) {
  return standardizedPath(text.starts_with('/') ? std::string(text) : joinedPath(home, text));
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
  const std::string text = expandVariables(withHome(pathTemplate));
  if (text.find('$') != std::string::npos) return std::nullopt;
  // Expanded once only: a "~" in a variable's value is an ordinary character.
  return absolutePathOf(text, home);
}

std::string TidraPathResolver::expandedPath(std::string_view path) const {
  return absolutePathOf(withHome(path), home);
}

std::string TidraPathResolver::withHome(std::string_view path) const {
  return path == "~" || path.starts_with("~/") ? home + std::string(path.substr(1)) : std::string(path);
}

std::string TidraPathResolver::expandVariables(std::string_view text) const {
  std::string expanded;
  for (std::size_t i = 0; i < text.size();) {
    const VariableReference reference = text[i] == '$' ? variableReferenceAt(text, i) : VariableReference{};
    const auto value = reference.length > 0 ? variable(reference.name) : std::nullopt;
    const std::size_t length = reference.length > 0 ? reference.length : 1;
    expanded += value ? std::string_view(*value) : text.substr(i, length);
    i += length;
  }
  return expanded;
}

std::optional<std::string> TidraPathResolver::variable(const std::string& name) const {
  // An empty variable counts as unset: "$WORKSPACE/build" must not become "/build".
  if (const auto found = environment.find(name); found != environment.end() && !found->second.empty()) {
    return found->second;
  }
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

std::string TidraPathResolver::displayText(std::string_view text) const {
  std::string shown;
  const std::string folder = home + "/";
  const auto mayBegin = [&] { return shown.empty() || std::string_view(" '(,").find(shown.back()) != text.npos; };
  while (!text.empty()) {
    const bool isHome = !home.empty() && home != "/" && text.starts_with(folder) && mayBegin();
    shown += isHome ? '~' : text.front();
    text.remove_prefix(isHome ? home.size() : 1);
  }
  return shown;
}

}  // namespace tidra
