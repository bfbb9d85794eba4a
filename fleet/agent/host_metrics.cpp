#include "fleet/agent/host_metrics.h"

#include <fmt/format.h>

#include <initializer_list>
#include <string_view>
#include <utility>

#include "core/base/enum_table.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {
namespace {

/// A text as it stands between the quotes of a label. Not only what is not UTF-8 would make a reader refuse the whole
/// exposition: some take a NUL for its end.
std::string labelValue(std::string_view bytes) {
  std::string value;
  for (const char byte : replacingInvalidUtf8(bytes)) {
    switch (byte) {
      case '\\':
        value += "\\\\";
        break;
      case '"':
        value += "\\\"";
        break;
      case '\n':
        value += "\\n";
        break;
      case '\0':
        value += "\uFFFD";
        break;
      default:
        value += byte;
    }
  }
  return value;
}

using Labels = std::initializer_list<std::pair<std::string_view, std::string_view>>;  // keys with escaped values

class Exposition {
 public:
  enum class Type { gauge, counter };

  void beginFamily(std::string_view name, Type type, std::string_view help) {
    name_ = name;
    text_ += fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", name, help, type == Type::gauge ? "gauge" : "counter");
  }

  void addSample(std::string_view value, Labels labels = {}) {
    text_ += name_;
    char separator = '{';
    for (const auto& [key, label] : labels) {
      text_ += fmt::format("{}{}=\"{}\"", std::exchange(separator, ','), key, label);
    }
    if (labels.size() != 0) text_ += '}';
    text_ += fmt::format(" {}\n", value);
  }

  void addGauge(std::string_view name, std::string_view help, std::string_view value) {
    beginFamily(name, Type::gauge, help);
    addSample(value);
  }
  void addGauge(std::string_view name, std::string_view help, std::integral auto value) {
    addGauge(name, help, fmt::to_string(value));
  }
  void addCounter(std::string_view name, std::string_view help, std::integral auto value) {
    beginFamily(name, Type::counter, help);
    addSample(fmt::to_string(value));
  }

  std::string take() { return std::move(text_); }

 private:
  std::string_view name_;
  std::string text_;
};

void addReclaimable(Exposition& text, const FleetMetricsSnapshot& snapshot) {
  text.beginFamily("tidra_reclaimable_bytes", Exposition::Type::gauge,
                   "Bytes Tidra could reclaim on this host, by safety tier.");
  for (const auto tier : allCases<ArtifactSafetyTier>()) {
    const auto known = snapshot.reclaimableBytesByTier.find(std::string(rawValue(tier)));
    const std::uint64_t bytes = known == snapshot.reclaimableBytesByTier.end() ? 0 : known->second;
    text.addSample(fmt::to_string(bytes), {{"tier", rawValue(tier)}});
  }
  std::map<std::string, std::uint64_t> bytesByLabel;
  for (const auto& [category, bytes] : snapshot.reclaimableBytesByCategory) {
    std::uint64_t& sum = bytesByLabel[labelValue(category)];
    sum = saturatedSum(sum, bytes);
  }
  text.beginFamily("tidra_reclaimable_bytes_by_category", Exposition::Type::gauge,
                   "Bytes Tidra could reclaim on this host, by category.");
  for (const auto& [label, bytes] : bytesByLabel) text.addSample(fmt::to_string(bytes), {{"category", label}});
  text.addGauge("tidra_reclaimable_items", "Findings in the last scan.", snapshot.reclaimableItems);
}

void addChoice(Exposition& text, const FleetMetricsSnapshot& snapshot) {
  text.addGauge("tidra_planned_bytes", "Bytes the policy selected for removal in the last run.", snapshot.plannedBytes);
  text.addGauge("tidra_planned_items", "Items the policy selected for removal in the last run.", snapshot.plannedItems);
  text.addGauge("tidra_last_run_disposed_bytes", "Bytes removed in the last run.", snapshot.disposedBytesThisRun);
  text.addGauge("tidra_last_run_failures", "Disposal failures in the last run.", snapshot.failuresThisRun);
}

void addTotals(Exposition& text, const FleetMetricsSnapshot& snapshot) {
  text.addCounter("tidra_disposed_bytes_total", "Bytes removed by Tidra on this host since the audit log began.",
                  snapshot.disposedBytesTotal);
  text.addCounter("tidra_disposed_items_total", "Items removed by Tidra on this host since the audit log began.",
                  snapshot.disposedItemsTotal);
  text.addCounter("tidra_dispose_failures_total", "Disposal failures since the audit log began.",
                  snapshot.failuresTotal);
  text.addCounter("tidra_purged_bytes_total",
                  "Bytes permanently freed from quarantine or trash since the audit log began.",
                  snapshot.purgedBytesTotal);
  text.addCounter("tidra_runs_total", "Completed policy runs since the audit log began.", snapshot.runsTotal);
}

void addLastRun(Exposition& text, const FleetMetricsSnapshot& snapshot) {
  text.addGauge("tidra_last_run_timestamp_seconds", "Start time of the last run.",
                snapshot.lastRunStart.time_since_epoch().count());
  text.addGauge("tidra_last_run_duration_seconds", "Wall time of the last run.",
                fmt::format("{:.3f}", snapshot.lastRunDurationSeconds));
  text.addGauge("tidra_last_run_success", "1 if the last run completed without disposal failures.",
                snapshot.lastRunSucceeded ? 1 : 0);
  text.addGauge("tidra_dry_run", "1 if the policy runs in dry-run mode.", snapshot.dryRun ? 1 : 0);
}

void addDisk(Exposition& text, const FleetMetricsSnapshot& snapshot) {
  text.addGauge("tidra_quarantine_bytes", "Bytes currently held in Tidra's quarantine.", snapshot.quarantineBytes);
  text.addGauge("tidra_quarantine_items", "Items currently held in Tidra's quarantine.", snapshot.quarantineItems);
  if (snapshot.volumeTotalBytes) {
    text.addGauge("tidra_volume_total_bytes", "Size of the volume holding the scan root.", *snapshot.volumeTotalBytes);
  }
  if (snapshot.volumeAvailableBytes) {
    text.addGauge("tidra_volume_available_bytes", "Free space on the volume holding the scan root.",
                  *snapshot.volumeAvailableBytes);
  }
}

}  // namespace

std::string PrometheusRenderer::render(const FleetMetricsSnapshot& snapshot) {
  Exposition text;
  text.beginFamily("tidra_build_info", Exposition::Type::gauge, "Tidra version and rule catalog. Always 1.");
  text.addSample("1", {{"version", labelValue(snapshot.version)}, {"catalog", labelValue(snapshot.catalogVersion)}});
  addReclaimable(text, snapshot);
  addChoice(text, snapshot);
  addTotals(text, snapshot);
  addLastRun(text, snapshot);
  addDisk(text, snapshot);
  return text.take();
}

}  // namespace tidra
