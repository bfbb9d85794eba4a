// Texts about the contents of a trash.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/view/trash_emptier.h"
#include "cli/cleanup_view.h"
#include "cli/program.h"
#include "core/dispose/freedesktop_trash.h"

namespace tidra {

/// Writes a note on the undated entries that stay, and how to remove them. No output for an empty list.
void noteUndated(const std::vector<FreedesktopTrash::Entry>& undated);

/// Asks whether to remove undated entries too. None when nobody is asked: without a terminal, and with --yes, which
/// answers the first question only.
[[nodiscard]] std::optional<bool> agreesToUndated(const std::vector<FreedesktopTrash::Entry>& undated,
                                                  const Program& program);

/// Lists the entries that go, largest first, under a heading. Empty when nothing goes.
std::string emptyingText(const WholeTrashes& choices, const CleanupViewOptions& options);

/// Removes whole trashes from a plan's items and returns the size that is shown of what goes; none when nothing goes.
std::optional<std::int64_t> takeTrash(std::vector<CleanupPlan::Item>& items, const WholeTrashes& choices,
                                      bool apparentSize);

/// A table of at most `most` entries with name, size, date and where each was; 0 lists all. The size is what purging
/// frees, or the logical one.
std::string trashTable(const std::vector<FreedesktopTrash::Entry>& entries, const TidraPathResolver& resolver,
                       const TerminalFacts& terminal, std::size_t most, bool apparentSize = false);

/// Those of the entries that are items: not info files without one.
std::vector<FreedesktopTrash::Entry> presentEntries(std::vector<FreedesktopTrash::Entry> entries);

/// Their size as it is shown.
std::int64_t sizeOf(const std::vector<FreedesktopTrash::Entry>& entries, bool apparentSize);

/// Those of the entries that are gone, as far as they were items.
std::vector<FreedesktopTrash::Entry> goneEntries(const FreedesktopTrash::Purged& purged,
                                                 std::vector<FreedesktopTrash::Entry> entries);

/// Those of the purge that are deleted in part, by where they came from.
std::vector<PartialRemoval> partlyGone(const FreedesktopTrash::Purged& purged);

}  // namespace tidra
