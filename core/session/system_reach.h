// How far a scan looks outside projects: named roots bound everything.
#pragma once

#include <optional>
#include <string>

#include "core/scan/system_scanner.h"
#include "core/session/scan_session.h"

namespace tidra {

/// What bounds this request's search outside projects; none where everything takes part.
std::optional<SystemBounds> systemBoundsOf(const ScanRequest& request);

/// What such a scan does not look at and how to include it, one sentence for people.
std::string outOfBoundsNote(const ScanRequest& request);

}  // namespace tidra
