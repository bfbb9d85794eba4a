// Path templates: "~", environment variables with the XDG defaults, and paths relative to the home folder.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

using Environment = std::map<std::string, std::string>;

/// Returns the environment of this process. Only the outermost layer calls it; everything else receives an Environment.
Environment processEnvironment();

struct TidraPathResolver {
  std::string home;  // absolute and standardised
  Environment environment;

  /// Returns the absolute, standardised path of a template: "~" and "~/x" in the home folder, "$NAME" and "${NAME}"
  /// from the environment or the XDG defaults; relative paths lie in the home folder. nullopt for an unknown variable.
  std::optional<std::string> resolve(std::string_view pathTemplate) const;

  /// As resolve(), but expands only a leading "~".
  std::string expandedPath(std::string_view path) const;

  /// Replaces every known variable; unknown ones stay. Either brace may be missing.
  std::string expandVariables(std::string_view text) const;

  /// Returns the path with the home folder shortened to "~", for display.
  std::string displayPath(std::string_view path) const;

  /// Returns a sentence in which absolute paths of the home folder begin with "~", for display.
  std::string displayText(std::string_view text) const;

 private:
  std::string withHome(std::string_view path) const;
  std::optional<std::string> variable(const std::string& name) const;
};

}  // namespace tidra
