// The interactive terminal program.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/terminal/terminal_session.h"
#include "app/terminal/ui_environment.h"

namespace tidra {

struct UiEnd {
  std::optional<int> signal;                // that ended it; SIGHUP as well if the terminal is gone
  std::vector<std::string> lastWords = {};  // lines on a removal that was running then
};

/// Shows the screens until the user quits. Throws InputError if the terminal cannot show them.
UiEnd runTerminalUi(UiEnvironment environment, const TerminalSession::Choices& choices);

}  // namespace tidra
