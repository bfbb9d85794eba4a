// A memory limit for child processes.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace tidra {

/// Limits the data segment (RLIMIT_DATA) of a running child and of what it starts later; read-only mappings do not
/// count. Best effort: does nothing where the system has no such limit.
void limitData(pid_t child, std::uint64_t bytes);

}  // namespace tidra
