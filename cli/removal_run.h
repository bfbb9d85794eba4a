// The removal of candidates as all removing commands carry it out.
#pragma once

#include <vector>

#include "cli/cleanup_options.h"
#include "cli/cleanup_view.h"
#include "cli/scan_view.h"

namespace tidra {

/// Listing options of a plan: `view` plus the request's context.
CleanupViewOptions planView(const ScanViewOptions& view, const ScanRequest& request);

/// Shows the plan, asks, removes, reports. Returns the exit status. Requires a live InterruptGuard; throws Interrupted
/// when it was raised before the first removal.
int carryOut(const std::vector<CleanupCandidate>& candidates, const CleanupPlan& plan, const ScanRequest& request,
             const RemovalOptions& options, const ScanViewOptions& view, const Program& program);

}  // namespace tidra
