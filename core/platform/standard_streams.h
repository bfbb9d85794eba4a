// The three streams that a program is started with.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidra {

/// Takes the places of standard streams that are closed, so that no file that is opened later gets one of their numbers
/// and receives what was meant for the stream. Reading from such a stream and writing to it goes on failing. Call
/// before anything is opened.
void holdClosedStandardStreams();

/// Writes everything to standard error as far as it can be written. Nobody could be told of a failure.
void writeStandardError(std::string_view text) noexcept;

/// The same from a signal handler: a single attempt, of a text that ends with NUL.
void writeFromSignalHandler(const char* text) noexcept;

/// Writes one line to standard output at once, as far as it can be written; lines of several threads do not mix.
void printLine(const std::string& line);

/// The descriptor of this process that a path stands for: "-" and /dev/stdout are standard output, and so on through
/// /dev/fd and /proc/self/fd, also behind links. -1 for a descriptor of another process, none for an ordinary path.
std::optional<int> descriptorNamed(const std::string& path);

/// True for a descriptor of this process that is open for writing.
bool isOpenForWriting(int descriptor);

/// Writes everything to an open descriptor. Throws std::system_error.
void writeToDescriptor(int descriptor, std::string_view text);

}  // namespace tidra
