// Confirmation before something is removed.
#pragma once

#include <string>

#include "cli/program.h"

namespace tidra {

struct Confirmation {
  std::string question;     // without the choices
  std::string typedAnswer;  // must be typed in full; empty: "y" or "yes"
};

/// Asks on standard error and returns true when the user agrees. "--yes" answers plain questions only, not those with a
/// typed answer. Throws InputError when a terminal is needed and there is none, Interrupted after a signal; a signal
/// while waiting ends the program.
[[nodiscard]] bool confirmed(const Confirmation& confirmation, const Program& program);

}  // namespace tidra
