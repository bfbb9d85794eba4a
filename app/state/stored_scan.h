// Stores a finished scan as the last one.
#pragma once

#include <vector>

#include "core/model/found_artifact.h"
#include "core/model/scan_report.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// Stores the results of a scan for the user. Those of an interrupted one do not replace those of a complete one.
/// `findings` are those of the report. Throws PreferencesError when nothing could be stored.
void storeScan(const ScanReport& report, const std::vector<FoundArtifact>& findings, const TidraPathResolver& resolver);

}  // namespace tidra
