// Compiled on Linux by scripts/check-macos; not yet run on a Mac.
#include "core/platform/process_memory.h"

namespace tidra {

// macOS lets a process limit only itself and does not enforce RLIMIT_DATA.
void limitData(pid_t, std::uint64_t) {}

// The allocator does so by itself when memory becomes short.
void releaseFreedMemory() {}

}  // namespace tidra
