// The folders in which the agent keeps its audit log and its lock.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// Throws InputError for a link of another user on the way to the folder, which could lead anywhere. `what` tells what
/// is kept there ("audit log").
void requireOwnLinks(const std::string& folder, std::string_view what);

/// Makes a folder and those above it that are missing, for the owner only. Throws InputError when that does not work,
/// and as requireOwnLinks.
void makeStateFolder(const std::string& folder, std::string_view what);

}  // namespace tidra
