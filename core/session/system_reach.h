// Extent of a scan outside projects: named roots bound it.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "core/scan/system_scanner.h"
#include "core/session/scan_session.h"

namespace tidra {

/// Returns the bounds of this request outside projects; nullopt without bounds.
std::optional<SystemBounds> systemBoundsOf(const ScanRequest& request);

/// Returns the keys of the categories to scan: by default those of the table and of custom rules.
std::set<std::string> systemCategoriesOf(const ScanRequest& request);

/// Returns what probes need, without exclusions and callbacks.
SystemProbeContext probeContextOf(const ScanRequest& request);

/// Returns what follows from the request alone: without exclusions, stores, rules inside and callbacks.
SystemArtifactScanner::Request systemRequestOf(const ScanRequest& request);

/// Returns a sentence on what such a scan omits and how to include it.
std::string outOfBoundsNote(const ScanRequest& request);

}  // namespace tidra
