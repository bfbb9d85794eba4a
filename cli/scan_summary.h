// The end of the text of a scan: totals, and one sentence each on what goes, what is left to review and what stays.
#pragma once

#include <string>

#include "cli/scan_view.h"

namespace tidra {

/// Totals by ecosystem and by tier: side by side, or below each other on a narrow screen. Empty without items.
std::string totalsText(const ScanPicture& picture, const ScanViewOptions& options);

/// What a removal frees, in how many projects and categories, what it leaves, and the volume. `listsAll` says that the
/// list above shows every item.
std::string sumText(const ScanPicture& picture, const ScanViewOptions& options, bool listsAll);

}  // namespace tidra
