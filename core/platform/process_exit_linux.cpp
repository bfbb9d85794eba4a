#include <sys/syscall.h>

#include "core/platform/process_exit.h"

namespace tidra {

FileDescriptor openExitNotice(pid_t child) {
#ifdef SYS_pidfd_open
  return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
#else
  return FileDescriptor();
#endif
}

}  // namespace tidra
