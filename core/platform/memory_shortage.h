// What becomes of the program when the memory that it may have is used up.
#pragma once

namespace tidra {

/// From now on a shortage of memory that nobody handles, on whichever thread, ends the program at once with this text
/// on standard error and this status. Other exceptions that nobody catches abort as before. `lastWords` is a literal.
void endAtMemoryShortage(const char* lastWords, int status);

}  // namespace tidra
