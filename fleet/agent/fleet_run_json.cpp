// The output of `tidra fleet run --json`.
#include "core/base/json_fields.h"
#include "fleet/agent/fleet_runner.h"

namespace tidra {

nlohmann::json JsonCodec<FleetRunResult>::encode(const FleetRunResult& result) {
  auto object = nlohmann::json::object();
  object["runID"] = result.runID;
  object["startedAt"] = JsonCodec<TimePoint>::encode(result.startedAt);
  object["duration"] = result.duration;
  object["dryRun"] = result.dryRun;
  object["interrupted"] = result.interrupted;
  object["totalBytes"] = result.report.totalBytes;
  object["plan"] = JsonCodec<CleanupPlan>::encode(result.decision.plan);
  object["skipped"] = JsonCodec<std::vector<PolicyDecision::Skipped>>::encode(result.decision.skipped);
  auto kept = nlohmann::json::array();
  for (const auto& each : result.kept)
    kept.push_back({{"item", JsonCodec<ScanReportItem>::encode(each.item)},
                    {"reason", JsonCodec<std::string>::encode(each.reason)}});
  object["kept"] = std::move(kept);
  object["disposal"] = outcomeJson(result.disposal, result.unmeasured);
  object["purged"] = JsonCodec<DisposalOutcome>::encode(result.purged);
  putOptional(object, "hubAck", result.hubAck);
  putOptional(object, "hubError", result.hubError);
  return object;
}

}  // namespace tidra
