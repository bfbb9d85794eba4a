// A plan and what became of it, as text for a person.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/terminal.h"
#include "core/session/cleanup_session.h"

namespace tidra {

struct CleanupViewOptions {
  TerminalFacts terminal;            // of the stream that shows the text
  std::optional<std::size_t> limit;  // items to list, 0 for all; absent: what fits a screen, all in a pipe
  std::string home;
  TimePoint now{};
};

/// Who removes an item. Tools know neither trash nor quarantine, so what they remove is shown, asked and told apart.
enum class Remover { tidra, tool };
Remover removerOf(std::string_view path);

/// A line for each candidate without a refusal: size, label, tier, age, place and how to get it back. What tools remove
/// comes last, below a heading, with the command that does it.
std::string planText(const std::vector<CleanupCandidate>& candidates, const CleanupViewOptions& options);

/// "Move 3 items (1.2 GB) to the trash?" `plan` holds the items of one remover.
std::string planQuestion(const CleanupPlan& plan, Remover remover);

/// What was done, a sentence or two for each remover.
std::string outcomeText(const CleanupOutcome& outcome, DisposalMethod method, bool dryRun);

/// Writes each failure to standard error: its path and why.
void writeFailures(const std::vector<TidraDeletionFailure>& failures);

}  // namespace tidra
