// The standard streams of this process.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/errors.h"

namespace tidra {

/// Opens placeholders for closed standard streams, so that no file opened later gets descriptor 0, 1 or 2 and receives
/// their output. Reads and writes on them keep failing. Call before anything is opened.
void holdClosedStandardStreams();

/// Reads standard input to its end. Fails with file_too_large above `mostBytes`.
Outcome<std::string> readStandardInput(std::size_t mostBytes);

/// Writes to standard error, best effort.
void writeStandardError(std::string_view text) noexcept;

/// Async-signal-safe: one attempt to write a NUL-terminated text to standard error.
void writeFromSignalHandler(const char* text) noexcept;

/// Writes one line to standard output and flushes, best effort. Thread-safe: lines do not mix.
void printLine(const std::string& line);

/// Returns this process's descriptor that a path names: "-", /dev/stdout, /dev/fd/N, /proc/self/fd/N, also through
/// symbolic links. -1 for a descriptor of another process, nullopt for an ordinary path.
std::optional<int> descriptorNamed(const std::string& path);

/// Whether the descriptor of this process is open for writing.
bool isOpenForWriting(int descriptor);

/// Ends the process by SIGPIPE, even if that was ignored; with `status` where the signal is blocked.
[[noreturn]] void endByBrokenPipe(int status);

/// Writes everything to an open descriptor. Throws std::system_error.
void writeToDescriptor(int descriptor, std::string_view text);

}  // namespace tidra
