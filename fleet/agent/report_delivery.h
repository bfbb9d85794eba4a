// Sends a run's report to the hub. A report that the hub could not take is kept beside the audit log and sent by a
// later run, oldest first, so that the hub's history holds runs of days on which it was away.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "core/base/byte_units.h"
#include "fleet/hub/protocol/hub_client.h"
#include "fleet/hub/protocol/hub_report.h"

namespace tidra {

/// Reports that wait for the hub: JSON lines in a file for the agent's user only, oldest first.
struct UnsentReports {
  static constexpr std::size_t mostReports = 100;
  static constexpr std::size_t mostBytes = 8_MiB;

  /// The file beside an audit log.
  static std::string pathFor(const std::string& auditLog);

  /// Empty when there is no file. Throws InputError, one sentence, for a file that is damaged or too long, or that
  /// another user could have read or written.
  [[nodiscard]] static std::vector<HubHostReport> read(const std::string& path);

  /// Replaces the file as a whole by the newest of these within both bounds, or removes it when there are none. Returns
  /// how many of the oldest were left out. Throws InputError when the file cannot be written or its folder is not safe.
  static std::size_t write(const std::string& path, const std::vector<HubHostReport>& reports);
};

struct ReportDelivery {
  std::optional<HubAck> ack;          // of this run's report; absent: it was not sent
  std::optional<std::string> error;   // why not; absent with an ack
  std::size_t earlier = 0;            // reports of earlier runs that were sent
  std::vector<std::string> warnings;  // clauses for people, any bytes
};

/// Sends what earlier runs left at `unsentPath`, then `report`, and stops at the first failure: reports out of order
/// would look like an audit log that was cut. What the hub refuses for its content (400, 413, not accepted) is dropped;
/// all else stays for a later run. Throws nothing for what the hub or the file does.
[[nodiscard]] ReportDelivery deliverReport(const HubClient& hub, const HubHostReport& report,
                                           const std::string& unsentPath);

}  // namespace tidra
