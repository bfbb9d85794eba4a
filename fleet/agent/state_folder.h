// The folders of the agent's audit log and lock.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// Guards against symlink attacks: throws InputError when a link of another user is on the way to the folder. `what`
/// names its content ("audit log").
void requireOwnLinks(const std::string& folder, std::string_view what);

/// Creates a folder and missing parents with mode 0700. Throws InputError on failure, and as requireOwnLinks does.
void makeStateFolder(const std::string& folder, std::string_view what);

}  // namespace tidra
