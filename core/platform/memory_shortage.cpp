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

/// Nothing here allocates. Destructors and exit handlers, which might, are left out.
[[noreturn]] void endOrAbort() {
  try {
    if (const auto failure = std::current_exception()) std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    // Several threads may run short at the same moment; one of them ends the program.
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
