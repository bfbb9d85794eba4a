// What a hub tells, as text for a person. Whatever hosts have written is shown escaped.
#pragma once

#include <string>
#include <vector>

#include "cli/terminal.h"
#include "fleet/hub/protocol/hub_records.h"
#include "fleet/hub/protocol/hub_summary.h"

namespace tidra {

/// The fleet in a few lines, then who has most to give back and who has least room.
std::string fleetText(const HubSummary& summary, const TerminalFacts& terminal);

/// A line a host: its status, when it was heard of, what it could give back, what it gave, and what is wrong with it.
std::string hostsText(const std::vector<HubHostRow>& hosts, TimePoint now, const TerminalFacts& terminal);

/// One host with its largest findings.
std::string hostText(const HubHostRecord& record, TimePoint now, const TerminalFacts& terminal);

/// A line an event.
std::string eventsText(const std::vector<HubEvent>& events, const TerminalFacts& terminal);

/// How long something is ago: "just now", "12 min ago", "5 h ago", "3 d ago".
std::string agoText(TimePoint time, TimePoint now);

}  // namespace tidra
