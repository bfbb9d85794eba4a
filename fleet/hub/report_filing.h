// What a report does to its host's file and what the event log says of it.
#pragma once

#include "core/base/time_point.h"
#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

/// What stays of a report that arrived at `now`.
HubHistoryPoint pointOf(const HubHostReport& report, TimePoint now);

/// A log only grows: a lower number at its head, or another record at the same number, means that it was cut or
/// rewritten.
bool isAuditRewind(const HubHostReport& before, const HubHostReport& after);

/// The host's file with a report more; of a new host when there is none before. The oldest point goes when there are
/// more than HubHostFile::mostHistory.
HubHostFile withReport(const HubHostFile* before, const HubHostReport& report, TimePoint now);

HubEvent receivedEvent(const HubHostReport& report, TimePoint now);

/// Of a report that is an audit rewind.
HubEvent rewindEvent(const HubHostReport& before, const HubHostReport& after, TimePoint now);

}  // namespace tidra
