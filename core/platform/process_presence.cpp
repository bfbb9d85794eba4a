#include "core/platform/process_presence.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>

namespace tidra {

std::int32_t currentProcess() { return ::getpid(); }

bool processExists(std::int32_t process) { return ::kill(process, 0) == 0 || errno == EPERM; }

}  // namespace tidra
