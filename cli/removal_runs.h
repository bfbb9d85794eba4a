// What "tidra history" and "tidra undo" share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/state/removal_history.h"

namespace tidra {

/// Returns the index of the run with this number in the list of the history, which begins with 1. Throws InputError.
std::size_t runNumbered(const std::string& number, const std::vector<RemovalRun>& runs);

/// All items, those beyond the kept ones included.
std::size_t itemCount(const RemovalRun& run);

/// What deleting it has freed or would have freed, as far as it is known; else its logical size.
std::optional<std::int64_t> listedSize(const RemovedItem& item);

/// "trash", "quarantine"; "deleted", "removed by docker".
std::string whereTo(const RemovedItem& item);

}  // namespace tidra
