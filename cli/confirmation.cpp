#include "cli/confirmation.h"

#include <fmt/format.h>
#include <unistd.h>

#include <iostream>

#include "cli/interrupt.h"
#include "cli/terminal.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/standard_streams.h"

namespace tidra {

bool confirmed(const Confirmation& confirmation, const Program& program) {
  const bool typed = !confirmation.typedAnswer.empty();
  if (program.options.assumeYes && !typed) return true;
  if (::isatty(STDIN_FILENO) != 1) {
    throw InputError(
        typed ? "What cannot be made again is only removed when that is confirmed in a terminal; --yes is "
                "not enough. Nothing was removed."
              : "There is no terminal to ask; use --yes to go on without a question, or --dry-run to look. Nothing "
                "was removed.");
  }
  const BlockingWait wait("\nnote: Interrupted; nothing was changed.\n");
  // BlockingWait ends the program on later signals; this handles an earlier one.
  InterruptGuard::requireNone("Interrupted; nothing was changed.");
  writePrompt(typed ? fmt::format("{} Type '{}' to go on:", confirmation.question, confirmation.typedAnswer)
                    : fmt::format("{} [y/N]", confirmation.question));
  std::string answer;
  if (!std::getline(std::cin, answer)) {
    writeStandardError("\n");  // Ctrl-D leaves the cursor behind the question
    return false;
  }
  const std::string given = asciiLowered(trimmed(answer));
  return typed ? given == confirmation.typedAnswer : given == "y" || given == "yes";
}

}  // namespace tidra
