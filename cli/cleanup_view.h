// A plan and what became of it, as text for a person.
#pragma once

#include <string>
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

/// A line for each candidate without a refusal: size, label, tier, age, place and how to get it back; then the sum.
std::string planText(const std::vector<CleanupCandidate>& candidates, const CleanupViewOptions& options);

/// "Move 3 items (1.2 GB) to the trash?"
std::string planQuestion(const CleanupPlan& plan);

/// What was done, in one or two sentences.
std::string outcomeText(const DisposalOutcome& outcome, DisposalMethod method, bool dryRun);

/// Writes each failure to standard error: its path and why.
void writeFailures(const std::vector<TidraDeletionFailure>& failures);

}  // namespace tidra
