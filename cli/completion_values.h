// The values that options and operands can have, for completions.
#pragma once

#include "cli/program.h"
#include "cli/word_completion.h"

namespace tidra {

/// Returns the values of a place: tables of the program, rules, settings, and the user's stored entries. What cannot be
/// read has none; nothing is written.
Completions knownValues(const ValuePlace& place, const CLI::App& app, const Program& program);

}  // namespace tidra
