// Finds and runs external command-line tools with a hard timeout. Never uses a shell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/byte_units.h"
#include "core/platform/path_resolver.h"

namespace tidra {

struct ProcessRunner {
  /// The outcome of a command that ran to its end.
  struct Result {
    std::int32_t status = 0;  // exit status; 128 + signal number if a signal ended it
    std::string stdout_;      // without leading and trailing white space; raw bytes otherwise
    std::string stderr_;

    bool operator==(const Result&) const = default;
  };

  struct Command {
    std::string executablePath;               // absolute
    std::vector<std::string> arguments = {};  // without the program name
    std::optional<std::string> currentDirectory = {};
    std::optional<Environment> environment = {};  // absent: inherited
    double timeoutSeconds = 0;
    std::optional<std::uint64_t> dataLimitBytes = {};  // RLIMIT_DATA, Linux only; absent: inherited
    /// Polled while the command runs; true ends the command as the timeout does. Absent: never.
    std::function<bool()> shouldCancel = {};
    /// Called with the output so far; true ends the command at once and counts as success. Absent: never.
    std::function<bool(std::string_view output)> isEnough = {};
  };

  /// More output than this on one pipe ends the command: bounds memory against an endless writer.
  static constexpr std::size_t outputLimitBytes = 64_MiB;

  /// Runs a command in its own process group, with empty standard input and no other descriptors of ours. Blocks until
  /// it exits, at most the timeout plus one second (two if descendants hold its pipes). Returns nullopt if it could not
  /// be started or had to be ended. Does not throw. Thread-safe. Restores the default SIGCHLD if ignored, since exit
  /// statuses are lost otherwise.
  [[nodiscard]] static std::optional<Result> run(const Command& command);

  /// Asks all running commands of this process to end, with SIGTERM, which does not wait. Async-signal-safe, for an
  /// exit from a signal handler.
  static void endRunning();

  /// Returns the absolute path of a trusted executable from the folders of PATH ("/usr/bin:/bin:/usr/local/bin" when
  /// unset), then the usual places; nullopt if there is none. Relative folders are skipped.
  static std::optional<std::string> which(const std::string& tool, const Environment& environment);

  /// Whether only the user and root control this executable: the file, its folder and, with links resolved, its real
  /// folder are owned by one of them and not world-writable. Checked before every run of a tool.
  static bool isTrusted(const std::string& executable);

  /// Returns a PATH for child processes: `first`, then the folders of which(), without those that are missing, of other
  /// users or world-writable.
  static std::string safeSearchPath(const Environment& environment, const std::optional<std::string>& first = {});
};

}  // namespace tidra
