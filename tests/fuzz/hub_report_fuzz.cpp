// A document is a report or is refused; an accepted one survives a round trip, as do the host's file made of it and a
// copy of that file with unusual formatting of the history.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "fleet/hub/host_file.h"
#include "fleet/hub/protocol/hub_json.h"

namespace {

using tidra::HubHostFile;
using tidra::HubHostReport;
using tidra::HubJSON;

void require(bool holds) {
  if (!holds) std::abort();
}

std::optional<HubHostReport> reportIn(std::string_view text) {
  try {
    return HubJSON::decode<HubHostReport>(text, "report");
  } catch (const tidra::DecodingError&) {
    return std::nullopt;
  }
}

void requireSameFile(const HubHostReport& report) {
  HubHostFile file;
  file.host = report.host;
  file.firstSeen = report.startedAt;
  file.lastSeen = report.startedAt;
  file.reports = 2;
  file.latest = report;
  file.history.assign(2, {.time = report.startedAt,
                          .reclaimableBytes = report.reclaimableBytes,
                          .disposedBytes = report.disposedBytes,
                          .failures = report.failures,
                          .volumeAvailableBytes = report.volumeAvailableBytes,
                          .dryRun = report.dryRun});
  file.note = report.policyName;
  const std::string text = tidra::HubJSON::compact(file);
  require(text == HubJSON::compact(file));
  require(tidra::parseHostFile(text, "file") == file);
  require(tidra::parseHostFile(HubJSON::pretty(file), "file") == file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto report = reportIn({reinterpret_cast<const char*>(data), size});
  if (!report) return 0;
  // Invalid UTF-8 has become U+FFFD in the first text.
  const std::string text = HubJSON::compact(*report);
  const auto again = reportIn(text);
  require(again.has_value());
  require(HubJSON::compact(*again) == text);
  requireSameFile(*again);
  tidra::hostFileName(report->host);
  return 0;
}
