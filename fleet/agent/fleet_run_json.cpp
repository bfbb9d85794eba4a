// The output of `tidra fleet run --json`.
#include "core/base/record_fields.h"
#include "fleet/agent/fleet_runner.h"

namespace tidra {

template <>
constexpr auto fieldsOf<KeptItem> = recordFields(field("item", &KeptItem::item), field("reason", &KeptItem::reason));

template <>
struct JsonCodec<KeptItem> : RecordCodec<KeptItem> {};

void JsonCodec<FleetRunResult>::write(JsonWriter& out, const FleetRunResult& result) {
  const std::vector<UnmeasuredSize> none;
  JsonObjectWriter(out)
      .put("disposal", CountedOutcome{result.disposal, result.unmeasured, result.freedBytes})
      .put("dryRun", result.dryRun)
      .put("duration", result.duration)
      .put("hubAck", result.hubAck)
      .put("hubError", result.hubError)
      .put("interrupted", result.interrupted)
      .put("kept", result.kept)
      .put("plan", result.decision.plan)
      .put("purged", CountedOutcome{result.purged, none, result.purgedFreedBytes})
      .put("runID", result.runID)
      .put("skipped", result.decision.skipped)
      .put("startedAt", result.startedAt)
      .put("totalBytes", result.report.totalBytes)
      .close();
}

}  // namespace tidra
