// Requirement files of Python projects, and names of Python packages.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace tidra {

/// The name under which the packaging standard compares packages: lower case, runs of "-", "_" and "." as one "-".
std::string normalizedPackageName(std::string_view name);

/// The normalised name at the start of a requirement such as "Name[extra]>=1.0; marker" or "name @ https://…"; none
/// when the text begins with no name.
std::optional<std::string> requirementName(std::string_view requirement);

/// The normalised names that a requirement file lists, those of the files it includes with "-r" too. None when some
/// line may name a package that cannot be told: a URL without a name, an include that cannot be read, a local folder.
std::optional<std::set<std::string>> readRequirements(const std::string& path);

}  // namespace tidra
