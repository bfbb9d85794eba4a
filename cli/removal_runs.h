// What "tidra history" and "tidra undo" share.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "app/state/removal_history.h"
#include "app/view/removal_undo.h"

namespace tidra {

/// Returns the index of the run with this number in the list of the history, which begins with 1. Throws InputError.
std::size_t runNumbered(const std::string& number, const std::vector<RemovalRun>& runs);

}  // namespace tidra
