// Handlers for reports, and for the hub and the fleet as a whole.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "core/base/byte_units.h"
#include "core/base/core_info.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/volume_space.h"
#include "fleet/hub/hub_api.h"
#include "fleet/hub/hub_query.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

std::size_t charactersOf(std::string_view utf8) {
  return utf8.size() - static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), isUtf8Continuation));
}

/// Limits far above any agent's report. The hub keeps all reports in memory and sends them in listings.
void requireModest(const HubHostReport& report, std::size_t bodyBytes) {
  constexpr std::size_t mostTopItems = 200;
  constexpr std::size_t mostBytes = 64_KiB;  // without the top items
  if (report.topItems.size() > mostTopItems) {
    throw HubRefusal(
        400, fmt::format("bad report: it holds {} top items; {} are the most", report.topItems.size(), mostTopItems));
  }
  if (bodyBytes > mostBytes && compactJson(ReportWithoutTopItems{report}).size() > mostBytes) {
    throw HubRefusal(400, fmt::format("bad report: without its top items it is longer than {} bytes", mostBytes));
  }
}

HubHostReport decodedReport(const std::string& body) {
  constexpr std::size_t longestHost = 253;  // characters, as in a domain name
  try {
    auto report = HubJSON::decode<HubHostReport>(body, "report");
    if (report.host.empty() || charactersOf(report.host) > longestHost) throw HubRefusal(400, "bad host name");
    requireModest(report, body.size());
    return report;
  } catch (const DecodingError& error) {
    throw HubRefusal(400, fmt::format("bad report: {}", error.what()));
  }
}

/// For a dry run: the bytes planned, which it would have removed.
std::string receivedLine(const HubHostReport& report) {
  return fmt::format("report from {}: {} findings, {} {}", escapedForTerminal(report.host), report.findings,
                     ByteFormatting::compact(report.dryRun ? report.plannedBytes : report.disposedBytes),
                     report.dryRun ? "would be removed (dry run)" : "removed");
}

}  // namespace

HTTPResponse refusalResponse(int status, std::string_view message) {
  const std::map<std::string, std::string> body{{"error", std::string(message)}, {"status", fmt::to_string(status)}};
  return HTTPResponse::json(status, HubJSON::compact(body));
}

HTTPResponse doneResponse(const std::string& name) {
  auto body = nlohmann::json::object();
  body["ok"] = true;
  if (!name.empty()) body["name"] = name;
  return HTTPResponse::json(200, jsonText(body, false));
}

HTTPResponse answerHealth(const HubCall&) { return HTTPResponse::text(200, "ok\n"); }

HTTPResponse answerMetrics(const HubCall& call) {
  HTTPResponse response = HTTPResponse::text(200, call.store.metrics(call.now, std::string(TidraCoreInfo::version)));
  response.headers["Content-Type"] = "text/plain; version=0.0.4; charset=utf-8";
  return response;
}

HTTPResponse answerReport(const HubCall& call) {
  const HubHostReport report = decodedReport(call.request.body);
  HubAck ack{.accepted = true, .host = report.host, .hostsKnown = 0, .message = "stored"};
  try {
    ack.hostsKnown = call.store.ingest(report, call.now).hostsKnown;
    call.log(receivedLine(report));
  } catch (const HubStoreError& error) {
    ack.accepted = false;
    ack.hostsKnown = static_cast<std::int64_t>(call.store.inventory().size());
    ack.message = error.what();
    call.log(fmt::format("warning: {}", escapedForTerminal(error.what())));
  }
  return HTTPResponse::json(200, HubJSON::compact(ack));
}

HTTPResponse answerInfo(const HubCall& call) {
  std::map<std::string, std::string> info{
      {"name", "tidra-hub"},
      {"version", std::string(TidraCoreInfo::version)},
      {"schema", fmt::to_string(HubSchema::version)},
      {"title", call.config.title},
      {"authRequired", call.authorisation.isRequired() ? "true" : "false"},
  };
  if (call.authorisation.knowsAdministrator(call.request)) {
    info["dataWritable"] = call.store.isWritable() ? "true" : "false";
    if (const auto space = TidraVolumeSpaceReader::read(call.store.dataDir())) {
      info["dataAvailableBytes"] = fmt::to_string(space->availableBytes);
      info["dataTotalBytes"] = fmt::to_string(space->totalBytes);
    }
  }
  return HTTPResponse::json(200, HubJSON::compact(info));
}

HTTPResponse answerSummary(const HubCall& call) {
  return HTTPResponse::json(200, HubJSON::compact(call.store.summary(call.now)));
}

HTTPResponse answerEvents(const HubCall& call) {
  constexpr std::size_t usual = 100;
  constexpr std::size_t most = 1000;
  const std::size_t count = HubQuery(call.request.query).count("n").value_or(usual);
  const HubEventsEnvelope envelope{.events = call.store.recentEvents(std::min(count, most))};
  return HTTPResponse::json(200, HubJSON::compact(envelope));
}

}  // namespace tidra
