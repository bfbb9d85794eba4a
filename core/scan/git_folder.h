// The folder of a repository with git's data, read as git itself reads it, and who may change what git executes.
#pragma once

#include <optional>
#include <string>

#include "core/base/errors.h"

namespace tidra {

/// Returns the folder that a repository's ".git" is or names, or a bare repository itself; nullopt if it is neither.
std::optional<std::string> gitFolderOf(const std::string& repository);

/// Returns the folder with the objects, references and configuration of a git folder: that of the main repository for a
/// linked worktree, else the git folder itself. Fails if the file that names it cannot be read.
Outcome<std::string> commonFolderOf(const std::string& gitFolder);

/// Whether a bare repository has an index, so that its work tree is elsewhere: git does not note where.
[[nodiscard]] bool servesUnknownWorkTree(const std::string& repository);

/// Returns the ".git" file that the git folder of a linked worktree points back to. Fails as above.
Outcome<std::string> linkBackOf(const std::string& gitFolder);

/// Returns the file that lists what was checked out and committed in a repository. git creates it with the first
/// commit.
std::string reflogOf(const std::string& gitFolder);

/// Whether only the running user and root can change which configuration git reads in a repository. For any other
/// repository git must not read the work tree: a filter could be configured after it was asked for them. Files that the
/// configuration includes are not looked at.
[[nodiscard]] bool isConfigurationBeyondOthersReach(const std::string& repository);

}  // namespace tidra
