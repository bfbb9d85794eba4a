// Which filters left findings out, options and settings named apart.
#pragma once

#include <string>
#include <vector>

#include "cli/scan_options.h"

namespace tidra {

/// "--min-size (3 artefacts left out)", "ecosystem of tidra config (1 artefact left out)" for each filter that left
/// something out, and the name alone of those that keep a search from looking. Completes "nothing matches".
std::vector<std::string> filterTexts(const ScanOptions& options, const LeftOutFindings& leftOut);

/// A note that nothing was selected because of filters, and how to lift those of the settings; no output without one.
void noteLeftOut(const ScanOptions& options, const LeftOutFindings& leftOut);

}  // namespace tidra
