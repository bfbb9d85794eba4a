// What changes the rules of a user for good: packs and added files.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "cli/program.h"

namespace tidra {

/// Declares packs, enable, disable, add and remove on `tidra rules`. `home` is the value of its option --home.
void addRuleChangingCommands(CLI::App& rules, Program& program, std::shared_ptr<const std::optional<std::string>> home);

}  // namespace tidra
