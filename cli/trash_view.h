// What people are told of what is in a trash.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/cleanup_view.h"
#include "cli/program.h"
#include "core/dispose/freedesktop_trash.h"

namespace tidra {

/// Writes a note on the entries that stay because nothing says when they were trashed, and how they go as well. Nothing
/// for none.
void noteUnlisted(const std::vector<FreedesktopTrash::Entry>& unlisted);

/// Asks whether these shall go as well. None where nobody is asked: without a terminal, and with --yes, which agrees to
/// the first question alone.
std::optional<bool> agreesToUnlisted(const std::vector<FreedesktopTrash::Entry>& unlisted, const Program& program);

/// "Interrupted; 3 entries of the trash are deleted, 5 that were to go are still in it."
std::string interruptedText(const FreedesktopTrash::Purged& purged);

/// What emptying would do to the trashes that a selection holds whole, by their folder "files". What goes is measured.
using TrashChoices = std::map<std::string, FreedesktopTrash::Choice>;

/// Looks into the trashes among these candidates. Entries that came after `seenAt` are left out, as is a trash that
/// cannot be read: removing it says why.
TrashChoices trashChoices(const std::vector<CleanupCandidate>& candidates, TimePoint seenAt, bool includesUnlisted);

/// What of them goes, with a heading: a line for each entry, the largest first. Empty when nothing goes.
std::string emptyingText(const TrashChoices& choices, const CleanupViewOptions& options);

/// Takes the items that stand for a whole trash out of a plan and returns what goes of them in bytes; none when nothing
/// goes.
std::optional<std::int64_t> takeTrash(std::vector<CleanupPlan::Item>& items, const TrashChoices& choices);
/// The same for the receipts of an outcome.
std::optional<std::int64_t> takeTrash(std::vector<DisposalReceipt>& receipts);

}  // namespace tidra
