// What happens when memory runs out.
#pragma once

namespace tidra {

/// Installs a terminate handler: an uncaught std::bad_alloc on any thread writes `lastWords` (a string literal) to
/// standard error and exits with this status. Other uncaught exceptions still abort.
void endAtMemoryShortage(const char* lastWords, int status);

}  // namespace tidra
