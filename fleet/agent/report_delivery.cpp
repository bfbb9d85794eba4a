#include "fleet/agent/report_delivery.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "fleet/agent/state_folder.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

/// True for an error that a retry of the same report would meet again.
bool isRefusedForItsContent(const HubClient::HubClientError& failure) {
  using Kind = HubClient::HubClientError::Kind;
  constexpr int badRequest = 400;
  constexpr int tooLarge = 413;
  return failure.kind() == Kind::rejected ||
         (failure.kind() == Kind::http && (failure.status() == badRequest || failure.status() == tooLarge));
}

std::string withoutFullStop(const InputError& failure) {
  std::string text = failure.what();
  if (text.ends_with('.')) text.pop_back();
  return text;
}

class Delivery {
 public:
  Delivery(const HubClient& hub, std::string unsentPath) : hub_(hub), path_(std::move(unsentPath)) {}

  ReportDelivery send(const HubHostReport& report) {
    auto waiting = waitingReports();
    const bool hadFile = !waiting.empty();
    const auto firstUnsent = std::find_if_not(waiting.begin(), waiting.end(),
                                              [&](const HubHostReport& earlier) { return sendEarlier(earlier); });
    waiting.erase(waiting.begin(), firstUnsent);
    if (!made_.error && !sendNow(report)) waiting.push_back(report);
    if (isHeldUp_) waiting.push_back(report);
    if (hadFile || !waiting.empty()) keep(waiting);
    return std::move(made_);
  }

 private:
  std::vector<HubHostReport> waitingReports() {
    try {
      return UnsentReports::read(path_);
    } catch (const InputError& failure) {
      made_.warnings.push_back(withoutFullStop(failure));
      return {};
    }
  }

  /// False when the hub accepts no reports now.
  bool sendEarlier(const HubHostReport& earlier) {
    try {
      static_cast<void>(hub_.report(earlier));
      ++made_.earlier;
      return true;
    } catch (const HubClient::HubClientError& failure) {
      if (!isRefusedForItsContent(failure)) {
        made_.error = failure.what();
        isHeldUp_ = true;
        return false;
      }
      made_.warnings.push_back(fmt::format("the report of run {} is dropped: {}", earlier.runID, failure.what()));
      return true;
    }
  }

  /// False when the report must be sent again later.
  bool sendNow(const HubHostReport& report) {
    try {
      made_.ack = hub_.report(report);
      return true;
    } catch (const HubClient::HubClientError& failure) {
      made_.error = failure.what();
      return isRefusedForItsContent(failure);
    }
  }

  void keep(const std::vector<HubHostReport>& waiting) {
    try {
      const std::size_t dropped = UnsentReports::write(path_, waiting);
      if (dropped > 0) {
        made_.warnings.push_back(fmt::format("{} of the oldest unsent reports are dropped to make room", dropped));
      }
    } catch (const InputError& failure) {
      made_.warnings.push_back(withoutFullStop(failure));
    }
  }

  const HubClient& hub_;
  std::string path_;
  bool isHeldUp_ = false;  // an earlier report failed, so this run's was not tried
  ReportDelivery made_;
};

}  // namespace

std::string UnsentReports::pathFor(const std::string& auditLog) { return auditLog + ".unsent"; }

std::vector<HubHostReport> UnsentReports::read(const std::string& path) {
  constexpr StateFile file{"The unsent reports in", "are not sent", mostBytes};
  const auto text = file.read(path);
  if (!text) return {};
  std::vector<HubHostReport> reports;
  try {
    for (const std::string_view line : split(*text, '\n')) {
      if (!line.empty()) reports.push_back(HubJSON::decode<HubHostReport>(line, "a report"));
    }
  } catch (const DecodingError&) {
    throw InputError(fmt::format("The unsent reports in '{}' are damaged and are not sent.", escapedForTerminal(path)));
  }
  return reports;
}

std::size_t UnsentReports::write(const std::string& path, const std::vector<HubHostReport>& reports) {
  const std::string shown = escapedForTerminal(path);
  std::vector<std::string> lines;  // newest first
  std::size_t bytes = 0;
  for (auto report = reports.rbegin(); report != reports.rend() && lines.size() < mostReports; ++report) {
    std::string line = HubJSON::compact(*report) + "\n";
    if (bytes + line.size() > mostBytes) break;
    bytes += line.size();
    lines.push_back(std::move(line));
  }
  try {
    if (lines.empty()) {
      removeFile(path);
      return reports.size();
    }
    if (!isOwnedAndPrivate(parentPath(path))) {
      throw InputError(
          fmt::format("Unsent reports are not kept in '{}': its folder belongs to another user, or everybody may write "
                      "to it.",
                      shown));
    }
    std::string text;
    text.reserve(bytes);
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) text += *line;
    constexpr unsigned ownerOnly = 0600;
    replaceFile(path, text, ownerOnly, AtLink::replace);
  } catch (const std::system_error& failure) {
    throw InputError(fmt::format("Unsent reports cannot be kept in '{}': {}.", shown, failure.code().message()));
  }
  return reports.size() - lines.size();
}

ReportDelivery deliverReport(const HubClient& hub, const HubHostReport& report, const std::string& unsentPath) {
  return Delivery(hub, unsentPath).send(report);
}

}  // namespace tidra
