#include <sys/resource.h>

#include "core/platform/process_memory.h"

namespace tidra {

// Set from outside, since posix_spawn() sets no limits; in the moment until then no program allocates much.
void limitData(pid_t child, std::uint64_t bytes) {
  const rlimit limit{bytes, bytes};
  static_cast<void>(::prlimit(child, RLIMIT_DATA, &limit, nullptr));
}

}  // namespace tidra
