// Applies a report to its host's file and makes its events.
#pragma once

#include "core/base/time_point.h"
#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

/// The history point of a report that arrived at `now`.
HubHistoryPoint pointOf(const HubHostReport& report, TimePoint now);

/// True when the audit log shrank or its head was replaced: it is append-only, so a lower `seq`, or another hash at the
/// same one, means tampering or loss.
bool isAuditRewind(const HubHostReport& before, const HubHostReport& after);

/// Returns the host's file with the report added; a new file without `before`. Drops the oldest points beyond
/// HubHostFile::mostHistory.
HubHostFile withReport(const HubHostFile* before, const HubHostReport& report, TimePoint now);

HubEvent receivedEvent(const HubHostReport& report, TimePoint now);

/// The event of an audit rewind.
HubEvent rewindEvent(const HubHostReport& before, const HubHostReport& after, TimePoint now);

}  // namespace tidra
