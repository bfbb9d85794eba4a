// A report is one or it is refused; one that is taken keeps its meaning when it is written and read again, as do the
// host's file that is made of it and the copy of that file in which the history has lost its usual form.
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
  const std::string text = tidra::hostFileText(file);
  require(text == HubJSON::compact(file));
  require(tidra::parseHostFile(text, "file") == file);
  require(tidra::parseHostFile(HubJSON::pretty(file), "file") == file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto report = reportIn({reinterpret_cast<const char*>(data), size});
  if (!report) return 0;
  // Whatever is not UTF-8 has become U+FFFD by now, in the first text.
  const std::string text = HubJSON::compact(*report);
  const auto again = reportIn(text);
  require(again.has_value());
  require(HubJSON::compact(*again) == text);
  requireSameFile(*again);
  tidra::hostFileName(report->host);
  return 0;
}
