// The hub's data as text for a person. Text from hosts is escaped for terminals.
#pragma once

#include <string>
#include <vector>

#include "cli/terminal.h"
#include "fleet/hub/protocol/hub_records.h"
#include "fleet/hub/protocol/hub_summary.h"

namespace tidra {

/// The fleet in a few lines, then the hosts with most to reclaim and with least free space.
std::string fleetText(const HubSummary& summary, const TerminalFacts& terminal);

/// A line a host: status, last report, reclaimable and freed bytes, and reasons for attention.
std::string hostsText(const std::vector<HubHostRow>& hosts, TimePoint now, const TerminalFacts& terminal);

/// One host with its largest findings.
std::string hostText(const HubHostRecord& record, TimePoint now, const TerminalFacts& terminal);

/// A line an event.
std::string eventsText(const std::vector<HubEvent>& events, const TerminalFacts& terminal);

/// A time span: "just now", "12 min ago", "5 h ago", "3 d ago".
std::string agoText(TimePoint time, TimePoint now);

}  // namespace tidra
