// The JSON lines of a removal after which the trash is emptied. Delays the `removed` line of an item that goes to the
// trash until then.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "cli/json_lines.h"
#include "cli/trash_emptying.h"
#include "core/session/cleanup_session.h"

namespace tidra {

/// Whether the line of a result waits for the trash to be emptied.
bool waitsForEmptying(const TidraDeletionService::Result& result);

/// Writes a line for each entry that is deleted; absent without lines.
TrashEmptier::OnDeleted lineWriter(const std::shared_ptr<JsonLines>& lines);

/// Writes the lines of what is in the trash still, and of the failures: of the outcome those from `firstFailure` on.
void writeLinesAfterEmptying(const CleanupOutcome& outcome, std::size_t firstFailure,
                             const std::optional<TrashEmptier::Result>& emptied, JsonLines& lines);

/// What `finished` counts beside the outcome.
JsonLines::Others othersOf(const std::optional<TrashEmptier::Result>& emptied);

}  // namespace tidra
