// The folders of the agent's audit log and lock, and the files of its state beside the log.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

/// Guards against symlink attacks: throws InputError when a link of another user is on the way to the folder. `what`
/// names its content ("audit log").
void requireOwnLinks(const std::string& folder, std::string_view what);

/// Creates a folder and missing parents with mode 0700. Throws InputError on failure, and as requireOwnLinks does.
void makeStateFolder(const std::string& folder, std::string_view what);

/// What messages say about a file of the agent's state: "`what` 'PATH' … by other users and `unused`."
struct StateFile {
  std::string_view what;    // "The unsent reports in"
  std::string_view unused;  // "are not sent"
  std::size_t mostBytes = 0;

  /// Returns the contents; none when the file is missing. Throws InputError, one sentence, when it cannot be read, is
  /// longer than mostBytes, or could have been read or changed by other users.
  [[nodiscard]] std::optional<std::string> read(const std::string& path) const;
};

}  // namespace tidra
