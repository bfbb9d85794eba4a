// What people are told of what is in a trash.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/cleanup_view.h"
#include "cli/program.h"
#include "core/dispose/freedesktop_trash.h"

namespace tidra {

/// Tells on standard error which entries stay because nothing says when they were trashed, and how they go as well.
/// Nothing for none.
void noteUnlisted(const std::vector<FreedesktopTrash::Entry>& unlisted);

/// Asks whether these shall go as well. False without a terminal to ask in and with --yes, which agrees to the first
/// question alone.
bool asksForUnlisted(const std::vector<FreedesktopTrash::Entry>& unlisted, const Program& program);

/// What goes when these candidates do and a whole trash is among them, with a heading; empty when none is. Entries that
/// came after `seenAt` stay.
std::string emptyingText(const std::vector<CleanupCandidate>& candidates, TimePoint seenAt,
                         const CleanupViewOptions& options);

/// Takes the items that stand for a whole trash out of a plan or the receipts of an outcome, and returns what they come
/// to; none when there are none.
std::optional<std::int64_t> takeTrash(std::vector<CleanupPlan::Item>& items);
std::optional<std::int64_t> takeTrash(std::vector<DisposalReceipt>& receipts);

/// A line for each entry, the largest first: size, name and what is odd about it; at most `limit` of them, 0 lists all.
/// The entries are measured.
std::string trashContentText(std::vector<FreedesktopTrash::Entry> entries, std::size_t limit);

}  // namespace tidra
