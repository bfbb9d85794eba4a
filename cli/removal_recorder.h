// The user's history of removals, with what is wrong with it noted on standard error.
#pragma once

#include <vector>

#include "app/state/history_recorder.h"
#include "app/state/removal_history.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// The user's history; a damaged file that is set aside is noted on standard error.
RemovalHistory removalHistory(const TidraPathResolver& resolver);

/// Marks in the history what was moved back from trash or quarantine, so that an undo goes on to the removal before. A
/// history that cannot be written is a note.
void recordRestored(const std::vector<MovedBack>& items, const TidraPathResolver& resolver);

/// Notes what was wrong with the history. Call once, after the recorder has written.
void noteHistory(const HistoryRecorder& recorder);

}  // namespace tidra
