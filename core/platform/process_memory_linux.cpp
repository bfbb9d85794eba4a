#include <cstdlib>  // defines __GLIBC__
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <sys/resource.h>

#include "core/platform/process_memory.h"

namespace tidra {

// prlimit() on the running child, because posix_spawn() cannot set limits; no program allocates much before that.
void limitData(pid_t child, std::uint64_t bytes) {
  const rlimit limit{bytes, bytes};
  static_cast<void>(::prlimit(child, RLIMIT_DATA, &limit, nullptr));
}

void releaseFreedMemory() {
#ifdef __GLIBC__
  static_cast<void>(::malloc_trim(0));
#endif
}

}  // namespace tidra
