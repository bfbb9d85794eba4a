// A bound on what a child process may hold in memory.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace tidra {

/// Lets a child that was just started, and what it starts from now on, allocate at most this much; files that are only
/// mapped for reading do not count. Best effort: does nothing where the system knows no such limit.
void limitData(pid_t child, std::uint64_t bytes);

}  // namespace tidra
