// Noticing the end of a child process at once.
#pragma once

#include <sys/types.h>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// A descriptor that becomes readable when the child ends; without one (an old kernel) the caller has to look again and
/// again.
FileDescriptor openExitNotice(pid_t child);

}  // namespace tidra
