#include "fleet/hub/hub_metrics.h"

#include <fmt/format.h>

#include <map>
#include <set>
#include <vector>

#include "core/base/prometheus_text.h"
#include "core/base/quantities.h"
#include "fleet/hub/host_status.h"
#include "fleet/hub/wide_sum.h"

namespace tidra {
namespace {

constexpr auto gauge = PrometheusText::Type::gauge;
constexpr auto counter = PrometheusText::Type::counter;

/// A host with its name as label text.
struct LabelledHost {
  const HubHostFile* file;
  std::string label;
};

std::vector<LabelledHost> labelled(const HubInventory& hosts) {
  std::vector<LabelledHost> all;
  all.reserve(hosts.size());
  std::set<std::string> taken;
  for (const auto& file : hosts) {
    std::string label = prometheusLabelValue(file->host);
    for (int number = 2; !taken.insert(label).second; ++number) {
      label = fmt::format("{} ({})", prometheusLabelValue(file->host), number);
    }
    all.push_back({file.get(), std::move(label)});
  }
  return all;
}

std::int64_t figureFor(const std::map<std::string, std::int64_t>& figures, std::string_view key) {
  const auto known = figures.find(std::string(key));
  return known == figures.end() ? 0 : known->second;
}

void addFleet(PrometheusText& text, const HubSummary& summary) {
  text.beginFamily("tidra_hub_hosts", gauge, "Hosts in the inventory, by status.");
  for (const auto status : allCases<HubHostStatus>()) {
    text.addSample(figureFor(summary.hostsByStatus, rawValue(status)), {{"status", rawValue(status)}});
  }
  text.beginFamily("tidra_hub_reclaimable_bytes", gauge, "Reclaimable bytes across the fleet, by tier.");
  for (const auto tier : allCases<ArtifactSafetyTier>()) {
    text.addSample(figureFor(summary.bytesByTier, rawValue(tier)), {{"tier", rawValue(tier)}});
  }
  std::map<std::string, WideSum> categories;
  for (const auto& [category, bytes] : summary.bytesByCategory) categories[prometheusLabelValue(category)] += bytes;
  text.beginFamily("tidra_hub_reclaimable_bytes_by_category", gauge,
                   "Reclaimable bytes across the fleet, by category.");
  for (const auto& [label, bytes] : categories) text.addSample(bytes.value(), {{"category", label}});

  text.addCounter("tidra_hub_disposed_bytes_total", "Bytes removed across the fleet (sum of host audit totals).",
                  summary.disposedBytesTotal);
  text.addGauge("tidra_hub_disposed_bytes_last_24h", "Bytes removed across the fleet in the last 24 hours.",
                summary.disposedBytesLast24h);
  text.addCounter("tidra_hub_dispose_failures_total", "Disposal failures across the fleet.", summary.failuresTotal);
  text.addGauge("tidra_hub_quarantine_bytes", "Bytes held in quarantine across the fleet.", summary.quarantineBytes);
  text.addGauge("tidra_hub_volume_available_bytes", "Free bytes summed over reporting hosts.",
                summary.volumeAvailableBytes);
  text.addGauge("tidra_hub_volume_total_bytes", "Volume size summed over reporting hosts.", summary.volumeTotalBytes);
  text.addGauge("tidra_hub_hosts_low_disk", "Hosts with less than 10% of the volume free.", summary.hostsLowDisk);
}

void addHostInfo(PrometheusText& text, const std::vector<LabelledHost>& hosts, const HubMetricsContext& context) {
  text.beginFamily("tidra_hub_host_info", gauge, "One series per host with its platform, version, policy and status.");
  for (const auto& [file, label] : hosts) {
    const HubHostReport& latest = file->latest;
    text.addSample(1, {{"host", label},
                       {"platform", rawValue(latest.platform)},
                       {"version", prometheusLabelValue(latest.tidraVersion)},
                       {"policy", prometheusLabelValue(latest.policyName)},
                       {"status", rawValue(conditionOf(*file, context.now, context.staleAfter).status)}});
  }
  text.beginFamily("tidra_hub_host_reclaimable_bytes", gauge, "Reclaimable bytes per host, by tier.");
  for (const auto& [file, label] : hosts) {
    for (const auto tier : allCases<ArtifactSafetyTier>()) {
      text.addSample(figureFor(file->latest.bytesByTier, rawValue(tier)), {{"host", label}, {"tier", rawValue(tier)}});
    }
  }
}

/// Adds a sample for each host for which `figure` returns a value.
template <class Figure>
void addPerHost(PrometheusText& text, const std::vector<LabelledHost>& hosts, Figure figure) {
  for (const auto& [file, label] : hosts) {
    if (const std::optional<std::int64_t> value = figure(*file)) text.addSample(*value, {{"host", label}});
  }
}

void addHostFigures(PrometheusText& text, const std::vector<LabelledHost>& hosts) {
  const auto add = [&](std::string_view name, PrometheusText::Type type, std::string_view help, auto field) {
    text.beginFamily(name, type, help);
    addPerHost(text, hosts,
               [field](const HubHostFile& file) { return std::optional<std::int64_t>(file.latest.*field); });
  };
  add("tidra_hub_host_disposed_bytes_total", counter, "Bytes removed per host since its audit log began.",
      &HubHostReport::disposedBytesTotal);
  add("tidra_hub_host_last_run_disposed_bytes", gauge, "Bytes removed in the host's last run (0 for a dry run).",
      &HubHostReport::disposedBytes);
  add("tidra_hub_host_last_run_failures", gauge, "Disposal failures in the host's last run.", &HubHostReport::failures);
  add("tidra_hub_host_last_run_success", gauge, "1 if the host's last run completed without failures.",
      &HubHostReport::succeeded);
  add("tidra_hub_host_dry_run", gauge, "1 if the host runs its policy in dry-run mode.", &HubHostReport::dryRun);
  text.beginFamily("tidra_hub_host_last_report_timestamp_seconds", gauge, "When the hub last heard from the host.");
  addPerHost(text, hosts, [](const HubHostFile& file) {
    return std::optional<std::int64_t>(file.lastSeen.time_since_epoch().count());
  });
  add("tidra_hub_host_quarantine_bytes", gauge, "Bytes the host holds in quarantine.", &HubHostReport::quarantineBytes);
  add("tidra_hub_host_volume_available_bytes", gauge, "Free bytes on the host's scanned volume.",
      &HubHostReport::volumeAvailableBytes);
  add("tidra_hub_host_volume_total_bytes", gauge, "Size of the host's scanned volume.",
      &HubHostReport::volumeTotalBytes);
  add("tidra_hub_host_audit_seq", gauge, "Sequence number at the head of the host's audit log.",
      &HubHostReport::auditSeq);
}

/// Only of hosts that report what they freed; nothing without any.
void addFreed(PrometheusText& text, const std::vector<LabelledHost>& hosts, const HubSummary& summary) {
  WideSum sum;
  bool isReported = false;
  for (const auto& host : hosts) {
    sum += host.file->latest.freedBytesTotal.value_or(0);
    isReported = isReported || host.file->latest.freedBytesTotal;
  }
  if (!isReported) return;
  text.addCounter("tidra_hub_freed_bytes_total", "Bytes freed across the fleet (sum of host audit totals).",
                  sum.value());
  text.addGauge("tidra_hub_freed_bytes_last_24h", "Bytes freed across the fleet in the last 24 hours.",
                summary.freedBytesLast24h);
  text.beginFamily("tidra_hub_host_freed_bytes_total", counter, "Bytes freed per host since its audit log began.");
  addPerHost(text, hosts, [](const HubHostFile& file) { return file.latest.freedBytesTotal; });
  text.beginFamily("tidra_hub_host_last_run_freed_bytes", gauge, "Bytes freed by the host's last run.");
  addPerHost(text, hosts, [](const HubHostFile& file) { return file.latest.freedBytes; });
}

}  // namespace

std::string hubMetrics(const HubInventory& hosts, const HubSummary& summary, const HubMetricsContext& context) {
  PrometheusText text;
  text.beginFamily("tidra_hub_build_info", gauge, "Tidra hub version. Always 1.");
  text.addSample(1, {{"version", prometheusLabelValue(context.version)}});
  addFleet(text, summary);
  const auto all = labelled(hosts);
  addHostInfo(text, all, context);
  addHostFigures(text, all);
  addFreed(text, all, summary);
  return text.take();
}

}  // namespace tidra
