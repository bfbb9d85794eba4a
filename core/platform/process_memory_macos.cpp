// Not run on any machine but a Mac, and so far untested.
#include "core/platform/process_memory.h"

namespace tidra {

// A limit can only be set by a process for itself there, and is not enforced.
void limitData(pid_t, std::uint64_t) {}

}  // namespace tidra
