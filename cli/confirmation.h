// Asking before something is removed.
#pragma once

#include <string>

#include "cli/program.h"

namespace tidra {

struct Confirmation {
  std::string question;     // without the choices
  std::string typedAnswer;  // what must be typed in full; empty: "y" or "yes"
};

/// True when the person agrees. "--yes" agrees to a plain question, not to one with a typed answer. Throws InputError
/// when the answer would have to come from a terminal and there is none, Interrupted after a signal; one that arrives
/// while the answer is waited for ends the program. Asks on standard error.
bool confirmed(const Confirmation& confirmation, const Program& program);

}  // namespace tidra
