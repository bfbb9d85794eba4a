// The folders in which the agent keeps its audit log and its lock.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// Makes a folder and those above it that are missing, for the owner only. `what` is kept there ("audit log"). Throws
/// InputError when that does not work, and for a link of another user on the way, which could lead anywhere.
void makeStateFolder(const std::string& folder, std::string_view what);

}  // namespace tidra
