// External command-line tools: finding them and running them with a hard time-out. No shell is ever involved.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/path_resolver.h"

namespace tidra {

struct ProcessRunner {
  /// The outcome of a command that ran to its end.
  struct Result {
    std::int32_t status = 0;  // exit status; 128 + the signal's number for a command that a signal ended
    std::string stdout_;      // without leading and trailing white space; bytes as the tool wrote them
    std::string stderr_;

    bool operator==(const Result&) const = default;
  };

  struct Command {
    std::string executablePath;               // absolute
    std::vector<std::string> arguments = {};  // without the program name
    std::optional<std::string> currentDirectory = {};
    std::optional<Environment> environment = {};  // absent: this process's own
    double timeoutSeconds = 0;
    std::optional<std::uint64_t> dataLimitBytes = {};  // what it may allocate, on Linux; absent: as this process may
    /// Polled while the command runs; true ends the command as the time-out does. Absent: never.
    std::function<bool()> shouldCancel = {};
    /// Asked about the output so far whenever there is more; true ends the command at once and counts as success.
    /// Absent: never.
    std::function<bool(std::string_view output)> isEnough = {};
  };

  /// More output than this on one pipe ends the command, so that an endless writer cannot fill the memory.
  static constexpr std::size_t outputLimitBytes = 64 * 1024 * 1024;

  /// Runs a command in a process group of its own with standard input empty and no other descriptor of ours. Blocks
  /// until it ends, at most the time-out and one second (two, when the command ended but something still holds its
  /// pipes). None when it could not be started or had to be ended. Never throws. Call from any thread.
  /// Where this process ignores SIGCHLD, the default is restored, since exit statuses are lost otherwise.
  static std::optional<Result> run(const Command& command);

  /// The absolute path of an executable that may be trusted: the folders of the environment's PATH
  /// ("/usr/bin:/bin:/usr/local/bin" when unset), then the usual places. Relative folders are passed over. None when
  /// there is no such tool.
  static std::optional<std::string> which(const std::string& tool, const Environment& environment);

  /// True when nobody but the user and root decides what runs under this absolute path: it leads to an executable file,
  /// and the folder that it names as well as, links resolved, the file and the folder of that belong to the user or
  /// root and not everybody may write to them. Every tool is asked for this before it is run.
  static bool isTrusted(const std::string& executable);

  /// A search path for the children of tools: `first`, then what which() searches, less the folders that are missing,
  /// belong to others or that everybody may write to.
  static std::string safeSearchPath(const Environment& environment, const std::optional<std::string>& first = {});
};

}  // namespace tidra
