// Memory of this process and a limit for child processes.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace tidra {

/// Limits the data segment (RLIMIT_DATA) of a running child and of what it starts later; read-only mappings do not
/// count. Best effort: does nothing where the system has no such limit.
void limitData(pid_t child, std::uint64_t bytes);

/// Gives memory that was freed back to the system, as far as the allocator can: after work that many threads took part
/// in, most of it would stay. Takes some milliseconds per 100 MB.
void releaseFreedMemory();

}  // namespace tidra
