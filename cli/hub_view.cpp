#include "cli/hub_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "cli/scan_view.h"
#include "cli/table.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

using Tone = TextTable::Tone;

std::string unknown() { return std::string(glyphs().dash); }

std::string bytes(std::int64_t count) { return ByteFormatting::readable(count); }

/// A number reported by a host; may be negative.
std::string number(std::int64_t count) {
  return count < 0 ? fmt::to_string(count) : grouped(static_cast<std::uint64_t>(count));
}

TextTable::Cell statusCell(HubHostStatus status) {
  const Tone tone = status == HubHostStatus::healthy ? Tone::good
                    : status == HubHostStatus::stale ? Tone::bad
                                                     : Tone::attention;
  return {std::string(rawValue(status)), tone};
}

/// "12%", rounded down as in the hub's reasons; a dash when unknown.
std::string freeText(const std::optional<std::int64_t>& available, const std::optional<std::int64_t>& total) {
  if (!available || !total || *total < 1) return unknown();
  constexpr double whole = 100;
  const double share = static_cast<double>(*available) / static_cast<double>(*total);
  return fmt::format("{:.0f}%", std::floor(std::clamp(share, 0.0, 1.0) * whole));
}

std::string line(std::string_view key, std::string_view value) {
  constexpr std::size_t keyWidth = 13;
  return fmt::format("  {}  {}\n", paddedRight(key, keyWidth), value);
}

/// "3 GB: safe 2 GB, caution 1 GB".
std::string reclaimableText(std::int64_t sum, const std::map<std::string, std::int64_t>& bytesByTier) {
  std::vector<std::string> pieces;
  for (const auto& row : EnumTable<ArtifactSafetyTier>::rows) {
    const auto found = bytesByTier.find(std::string(row.text));
    if (found != bytesByTier.end()) pieces.push_back(fmt::format("{} {}", row.text, bytes(found->second)));
  }
  return bytes(sum) + (pieces.empty() ? "" : ": " + joined(pieces, ", "));
}

std::string statusesText(const HubSummary& summary) {
  std::vector<std::string> pieces;
  for (const auto& row : EnumTable<HubHostStatus>::rows) {
    const auto found = summary.hostsByStatus.find(std::string(row.text));
    if (found != summary.hostsByStatus.end()) pieces.push_back(fmt::format("{} {}", number(found->second), row.text));
  }
  return joined(pieces, ", ");
}

/// "2 GB" removed, "dry run", or "3 failed".
TextTable::Cell lastRunCell(const HubHostReport& report) {
  if (report.failures > 0) return {number(report.failures) + " failed", Tone::bad};
  if (report.dryRun) return "dry run";
  return bytes(report.disposedBytes);
}

/// Empty for older agents, which do not report it.
std::string freedPart(std::optional<std::int64_t> freed) {
  return freed ? fmt::format(", {} freed", bytes(*freed)) : "";
}

std::string topItemsText(const std::vector<HubTopItem>& items, const TerminalFacts& terminal) {
  TextTable table({{"SIZE", true}, {"TIER"}, {"IDLE", true}, {"FINDING"}, {"PATH"}});
  for (const HubTopItem& item : items) {
    table.add({bytes(item.bytes), std::string(rawValue(item.tier)),
               item.idleDays ? fmt::format("{} d", *item.idleDays) : unknown(), shown(item.label), shown(item.path)});
  }
  return table.text(terminal);
}

}  // namespace

std::string agoText(TimePoint time, TimePoint now) {
  using namespace std::chrono;
  const auto past = now - time;
  if (past < minutes(1)) return "just now";
  if (past < hours(1)) return fmt::format("{} min ago", duration_cast<minutes>(past).count());
  if (past < days(1)) return fmt::format("{} h ago", duration_cast<hours>(past).count());
  return fmt::format("{} d ago", duration_cast<days>(past).count());
}

std::string fleetText(const HubSummary& summary, const TerminalFacts& terminal) {
  const Style style(terminal.colored);
  std::string text = style.bold(shown(summary.title)) + "\n";
  text += line("hosts", fmt::format("{}: {}", number(summary.hosts), statusesText(summary)));
  text += line("reclaimable", reclaimableText(summary.reclaimableBytes, summary.bytesByTier));
  text += line("removed", fmt::format("{} (items: {}); {} in 24 hours, {} in 7 days", bytes(summary.disposedBytesTotal),
                                      number(summary.disposedItemsTotal), bytes(summary.disposedBytesLast24h),
                                      bytes(summary.disposedBytesLast7d)));
  if (summary.freedBytesTotal > 0) {
    text += line("freed", fmt::format("{}; {} in 24 hours, {} in 7 days", bytes(summary.freedBytesTotal),
                                      bytes(summary.freedBytesLast24h), bytes(summary.freedBytesLast7d)));
  }
  text += line("failures",
               fmt::format("{}; {} in 24 hours", number(summary.failuresTotal), number(summary.failuresLast24h)));
  text += line("quarantine", bytes(summary.quarantineBytes));
  text += line("low on disk", number(summary.hostsLowDisk));
  if (!summary.topReclaimable.empty()) {
    TextTable table({{"RECLAIMABLE", true}, {"HOST"}});
    for (const auto& row : summary.topReclaimable) table.add({bytes(row.bytes), shown(row.host)});
    text += "\n" + table.text(terminal);
  }
  if (!summary.lowestDisk.empty()) {
    TextTable table({{"FREE", true}, {"AVAILABLE", true}, {"HOST"}});
    for (const auto& row : summary.lowestDisk) {
      table.add({freeText(row.availableBytes, row.totalBytes), bytes(row.availableBytes), shown(row.host)});
    }
    text += "\n" + table.text(terminal);
  }
  return text;
}

std::string hostsText(const std::vector<HubHostRow>& hosts, TimePoint now, const TerminalFacts& terminal) {
  if (hosts.empty()) return "No hosts.\n";
  TextTable table({{"HOST"},
                   {"STATUS"},
                   {"SEEN", true},
                   {"RECLAIMABLE", true},
                   {"LAST RUN", true},
                   {"FREE", true},
                   {"POLICY"},
                   {"REASON"}});
  for (const HubHostRow& host : hosts) {
    table.add({shown(host.host), statusCell(host.status), agoText(host.lastSeen, now),
               bytes(host.latest.reclaimableBytes), lastRunCell(host.latest),
               freeText(host.latest.volumeAvailableBytes, host.latest.volumeTotalBytes), shown(host.latest.policyName),
               shown(joined(host.statusReasons, "; "))});
  }
  return table.text(terminal);
}

std::string hostText(const HubHostRecord& record, TimePoint now, const TerminalFacts& terminal) {
  const Style style(terminal.colored);
  const HubHostReport& report = record.latest;
  const auto status = statusCell(record.status);
  std::string text = style.bold(shown(record.host)) + "\n";
  std::string reasons = shown(joined(record.statusReasons, "; "));
  text += line("status", toned(style, status.tone, status.text) + (reasons.empty() ? "" : ": " + reasons));
  text += line("seen", fmt::format("{} ({}), reports: {} since {}", agoText(record.lastSeen, now),
                                   iso8601(record.lastSeen), number(record.reports), iso8601(record.firstSeen)));
  if (record.note) text += line("note", shown(*record.note));
  text += line("program", fmt::format("{} on {}, rules {}", shown(report.tidraVersion), rawValue(report.platform),
                                      shown(report.catalogVersion)));
  text += line("policy", shown(report.policyName) + (report.dryRun ? ", dry run" : ""));
  for (const auto& [key, value] : report.tags) text += line("tag", shown(key) + "=" + shown(value));
  text += line("findings", number(report.findings));
  text += line("reclaimable", reclaimableText(report.reclaimableBytes, report.bytesByTier));
  text +=
      line("last run", fmt::format("{}, {:.1f} s: {} removed (items: {}){}, {} failed", iso8601(report.startedAt),
                                   report.durationSeconds, bytes(report.disposedBytes), number(report.disposedItems),
                                   freedPart(report.freedBytes), number(report.failures)));
  text += line("in all", fmt::format("{} removed (items: {}){}, {} failed, runs: {}", bytes(report.disposedBytesTotal),
                                     number(report.disposedItemsTotal), freedPart(report.freedBytesTotal),
                                     number(report.failuresTotal), number(report.runsTotal)));
  text +=
      line("quarantine", fmt::format("{} (items: {})", bytes(report.quarantineBytes), number(report.quarantineItems)));
  if (report.volumeAvailableBytes) {
    text += line("disk", fmt::format("{} available, {} free", bytes(*report.volumeAvailableBytes),
                                     freeText(report.volumeAvailableBytes, report.volumeTotalBytes)));
  }
  text += line("audit log", fmt::format("{} records, head {}", number(report.auditSeq),
                                        shown(report.auditHeadHash.value_or(unknown()))));
  if (!report.topItems.empty()) text += "\n" + topItemsText(report.topItems, terminal);
  return text;
}

std::string eventsText(const std::vector<HubEvent>& events, const TerminalFacts& terminal) {
  if (events.empty()) return "No events.\n";
  TextTable table({{"TIME"}, {"EVENT"}, {"HOST"}, {"BYTES", true}, {"MESSAGE"}});
  for (const HubEvent& event : events) {
    table.add({iso8601(event.time), std::string(rawValue(event.kind)), shown(event.host.value_or("")),
               event.bytes ? bytes(*event.bytes) : "", shown(event.message)});
  }
  return table.text(terminal);
}

}  // namespace tidra
