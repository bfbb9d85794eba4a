#include "core/platform/memory_shortage.h"

#include <unistd.h>

#include <atomic>
#include <exception>
#include <new>

#include "core/platform/standard_streams.h"

namespace tidra {
namespace {

const char* words = "";
int exitStatus = 1;
std::terminate_handler formerHandler = nullptr;
std::atomic_flag isEnding;

/// Must not allocate; _exit() skips destructors and exit handlers, which might.
[[noreturn]] void endOrAbort() {
  try {
    if (const auto failure = std::current_exception()) std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    // Several threads may run out at once; the first one ends the process.
    while (isEnding.test_and_set()) ::pause();
    writeFromSignalHandler(words);
    ::_exit(exitStatus);
  } catch (...) {
  }
  formerHandler();
  __builtin_unreachable();
}

}  // namespace

void endAtMemoryShortage(const char* lastWords, int status) {
  words = lastWords;
  exitStatus = status;
  formerHandler = std::set_terminate(endOrAbort);
}

}  // namespace tidra
