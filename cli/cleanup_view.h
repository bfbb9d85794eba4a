// A plan and its outcome as text for a person.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/view/removal_question.h"
#include "cli/terminal.h"
#include "core/session/cleanup_session.h"

namespace tidra {

struct CleanupViewOptions {
  TerminalFacts terminal;            // of the output stream
  std::optional<std::size_t> limit;  // items to list, 0 for all; absent: what fits a screen, all in a pipe
  std::string home;
  TimePoint now{};
  bool apparentSize = false;  // show logical sizes instead of what removing frees
};

/// A line for each candidate without a refusal: size, label, tier, age and path; below it how to restore it. Items that
/// tools remove come last, under a heading, with the tool's command.
std::string planText(const std::vector<CleanupCandidate>& candidates, const CleanupViewOptions& options);

/// How the result of a removal is described.
struct OutcomeContext {
  DisposalMethod method = DisposalMethod::trash;
  bool dryRun = false;
  bool apparentSize = false;
  bool isUpperBound = false;  // file systems may share extents
  bool emptiesTrash = false;  // afterwards
  bool isInHistory = true;    // else an undo does not know what was moved
  std::string volumes = {};   // how their free space changed, from VolumeFigures::change()
  const std::vector<CleanupCandidate>& candidates;
};

/// The result, a sentence or two for each way that items went.
std::string outcomeText(const CleanupOutcome& outcome, const OutcomeContext& context);

/// "1 item deleted in part, 127 MB freed." as a line; empty for none.
std::string partialText(const std::vector<PartialRemoval>& partial, const char* one = "item",
                        const char* many = "items");

/// Writes each failure to standard error: path and reason, in which paths of the home folder begin with "~".
void writeFailures(const std::vector<TidraDeletionFailure>& failures, const std::string& home = {});

}  // namespace tidra
