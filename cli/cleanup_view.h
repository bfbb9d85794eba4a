// A plan and its outcome as text for a person.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/terminal.h"
#include "core/session/cleanup_session.h"

namespace tidra {

struct CleanupViewOptions {
  TerminalFacts terminal;            // of the output stream
  std::optional<std::size_t> limit;  // items to list, 0 for all; absent: what fits a screen, all in a pipe
  std::string home;
  TimePoint now{};
};

/// Tools have neither trash nor quarantine: their items are listed, confirmed and reported apart.
enum class Remover { tidra, tool };
Remover removerOf(std::string_view path);

/// A line for each candidate without a refusal: size, label, tier, age, path and how to restore it. Items that tools
/// remove come last, under a heading, with the tool's command.
std::string planText(const std::vector<CleanupCandidate>& candidates, const CleanupViewOptions& options);

/// "Move 3 items (1.2 GB) to the trash?" `plan` holds the items of one remover only.
std::string planQuestion(const CleanupPlan& plan, Remover remover);

/// The result, a sentence or two for each remover.
std::string outcomeText(const CleanupOutcome& outcome, DisposalMethod method, bool dryRun);

/// Writes each failure to standard error: path and reason.
void writeFailures(const std::vector<TidraDeletionFailure>& failures);

}  // namespace tidra
