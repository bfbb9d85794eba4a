// Path templates: "~", environment variables with the XDG defaults, and paths relative to the home folder.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

using Environment = std::map<std::string, std::string>;

/// The environment of this process. Only the outermost layer asks; everything else is handed an Environment.
Environment processEnvironment();

struct TidraPathResolver {
  std::string home;  // absolute and standardised
  Environment environment;

  /// The absolute, standardised path that a template names: "~" and "~/x" in the home folder, "$NAME" and "${NAME}"
  /// from the environment or the XDG defaults, any other relative text inside the home folder. None when a variable is
  /// unknown.
  std::optional<std::string> resolve(std::string_view pathTemplate) const;

  /// The absolute, standardised path of a text in which only a leading "~" has a meaning; relative text lies inside the
  /// home folder.
  std::string expandedPath(std::string_view path) const;

  /// Replaces every variable that is known; an unknown one stays as it stands. Braces are optional on either side.
  std::string expandVariables(std::string_view text) const;

  /// The path for people: the home folder shown as "~".
  std::string displayPath(std::string_view path) const;

 private:
  std::string withHome(std::string_view path) const;
  std::optional<std::string> variable(const std::string& name) const;
};

}  // namespace tidra
