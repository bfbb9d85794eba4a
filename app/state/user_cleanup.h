// Removals for the running user: what each one depends on besides its items.
#pragma once

#include <functional>
#include <string>

#include "core/base/time_point.h"
#include "core/dispose/quarantine.h"
#include "core/model/disposal.h"
#include "core/platform/path_resolver.h"
#include "core/session/cleanup_session.h"

namespace tidra {

/// The setting of a removal that protects the user's state. `request` is that of the scan: the trash is what the user
/// saw at its `now`.
CleanupSetting cleanupSettingFor(const ScanRequest& request, DisposalMethod method, QuarantineConfig quarantine,
                                 std::function<TimePoint()> clock);

/// Call before removing. Throws PreferencesError when not all stored exclusions can be read. `onNote` is called with
/// sentences about a damaged store.
void requireKnownExclusions(
    const TidraPathResolver& resolver,
    const std::function<void(const std::string&)>& onNote = [](const std::string&) {});

/// Whether root would move items into a home folder whose owner could not restore them.
bool movesToHomeOfAnother(DisposalMethod method, const QuarantineConfig& quarantine, const TidraPathResolver& resolver);

}  // namespace tidra
