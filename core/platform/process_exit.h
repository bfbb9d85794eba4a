// Notification of a child's exit.
#pragma once

#include <sys/types.h>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// Returns a descriptor that becomes readable when the child exits; empty on kernels without pidfd, where the caller
/// polls.
FileDescriptor openExitNotice(pid_t child);

}  // namespace tidra
