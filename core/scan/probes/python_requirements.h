// Parses Python requirement files and package names.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace tidra {

/// Normalises a package name (PEP 503): lower case, runs of "-", "_" and "." as one "-".
std::string normalizedPackageName(std::string_view name);

/// Returns the normalised name at the start of a requirement such as "Name[extra]>=1.0; marker" or "name @ https://…";
/// nullopt without one.
std::optional<std::string> requirementName(std::string_view requirement);

/// Returns the normalised names in a requirement file and in those it includes with "-r". nullopt if a line may name an
/// unknown package: a URL without a name, an unreadable include, a local folder.
std::optional<std::set<std::string>> readRequirements(const std::string& path);

}  // namespace tidra
