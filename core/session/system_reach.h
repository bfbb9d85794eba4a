// Extent of a scan outside projects: named roots bound it.
#pragma once

#include <optional>
#include <string>

#include "core/scan/system_scanner.h"
#include "core/session/scan_session.h"

namespace tidra {

/// Returns the bounds of this request outside projects; nullopt without bounds.
std::optional<SystemBounds> systemBoundsOf(const ScanRequest& request);

/// Returns a sentence on what such a scan omits and how to include it.
std::string outOfBoundsNote(const ScanRequest& request);

}  // namespace tidra
