// Compiled on Linux by scripts/check-macos; not yet run on a Mac.
#include <fcntl.h>
#include <sys/event.h>

#include "core/platform/process_exit.h"

namespace tidra {

FileDescriptor openExitNotice(pid_t child) {
  FileDescriptor queue(::kqueue());
  if (!queue) return queue;
  ::fcntl(queue.get(), F_SETFD, FD_CLOEXEC);
  struct kevent change;
  EV_SET(&change, child, EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT, 0, nullptr);
  if (::kevent(queue.get(), &change, 1, nullptr, 0, nullptr) != 0) queue.reset();
  return queue;
}

}  // namespace tidra
