#include <sys/resource.h>

#include "core/platform/process_memory.h"

namespace tidra {

// prlimit() on the running child, because posix_spawn() cannot set limits; no program allocates much before that.
void limitData(pid_t child, std::uint64_t bytes) {
  const rlimit limit{bytes, bytes};
  static_cast<void>(::prlimit(child, RLIMIT_DATA, &limit, nullptr));
}

}  // namespace tidra
