// Read access to the store. The mutex is held only while collecting the hosts; rendering takes longer and must not
// block reports.
#include <algorithm>
#include <cassert>

#include "core/base/text.h"
#include "fleet/hub/host_status.h"
#include "fleet/hub/hub_metrics.h"
#include "fleet/hub/hub_store.h"
#include "fleet/hub/hub_summary.h"

namespace tidra {
namespace {

constexpr std::chrono::days lastDay{1};
constexpr std::chrono::days lastWeek{7};

HubHostRecord recordOf(const HubHostFile& file, HubHostCondition condition, bool withHistory) {
  HubHostRecord record{{.host = file.host,
                        .status = condition.status,
                        .statusReasons = std::move(condition.reasons),
                        .firstSeen = file.firstSeen,
                        .lastSeen = file.lastSeen,
                        .reports = file.reports,
                        .note = file.note,
                        .latest = file.latest},
                       {}};
  if (withHistory) record.history = file.history;
  return record;
}

bool holds(std::string_view text, const std::string& loweredPart) {
  return asciiLowered(text).find(loweredPart) != std::string::npos;
}

bool isFoundBy(const HubHostFile& file, const std::string& loweredPart) {
  if (loweredPart.empty() || holds(file.host, loweredPart) || holds(file.latest.policyName, loweredPart)) return true;
  if (file.note && holds(*file.note, loweredPart)) return true;
  return std::any_of(file.latest.tags.begin(), file.latest.tags.end(),
                     [&](const auto& tag) { return holds(tag.first, loweredPart) || holds(tag.second, loweredPart); });
}

/// Returns the first point at or after `start` of a history in order. Searches from its end in growing steps: windows
/// are short, and a step to the middle of ten thousand histories would miss the cache each time.
std::vector<HubHistoryPoint>::const_iterator firstSince(const std::vector<HubHistoryPoint>& history, TimePoint start) {
  const auto isBefore = [](const HubHistoryPoint& point, TimePoint time) { return point.time < time; };
  auto end = history.end();
  for (std::ptrdiff_t step = 1; step < end - history.begin(); step *= 2) {
    if (isBefore(*(end - step), start)) return std::lower_bound(end - step, end, start, isBefore);
    end -= step;
  }
  return std::lower_bound(history.begin(), end, start, isBefore);
}

}  // namespace

struct HubStore::View {
  HubSummaryInput input;        // the sums of a window without those of its first, partial day
  std::vector<bool> isInOrder;  // by index of the input's hosts: the times of the history ascend

  /// Completes the sums of the windows.
  void addPartialDays(TimePoint now) {
    assert(isInOrder.size() == input.hosts.size());
    for (std::size_t i = 0; i < input.hosts.size(); ++i) {
      addRestOfDay(now - lastDay, i, input.lastDay);
      addRestOfDay(now - lastWeek, i, input.lastWeek);
    }
  }

 private:
  /// Adds a host's points on the day of `start`, from `start` on.
  void addRestOfDay(TimePoint start, std::size_t host, FleetTotals::Activity& sum) const {
    const TimePoint end = std::chrono::floor<std::chrono::days>(start) + std::chrono::days{1};
    const auto& history = input.hosts[host]->history;
    auto point = isInOrder[host] ? firstSince(history, start) : history.begin();
    for (; point != history.end(); ++point) {
      if (isInOrder[host] && point->time >= end) break;
      if (point->time >= start && point->time < end) sum.add(*point);
    }
  }
};

HubInventory HubStore::inventory() const {
  const std::lock_guard guard(lock_);
  HubInventory files;
  files.reserve(hosts_.size());
  for (const auto& [name, host] : hosts_) files.push_back(host.file);
  return files;
}

std::vector<HubHostRecord> HubStore::records(TimePoint now) const { return hosts({}, now).hosts; }

HubHostSelection HubStore::select(const HubHostQuery& query, TimePoint now) const {
  const std::string text = asciiLowered(query.text);
  HubHostSelection selection;
  for (const auto& file : inventory()) {
    if (query.platform && file->latest.platform != *query.platform) continue;
    if (!isFoundBy(*file, text)) continue;
    const bool isShown = selection.total >= query.offset && (!query.limit || selection.hosts.size() < *query.limit);
    if (!isShown && !query.status) {
      ++selection.total;
      continue;
    }
    auto condition = conditionOf(*file, now, staleAfter_);
    if (query.status && condition.status != *query.status) continue;
    ++selection.total;
    if (isShown) selection.hosts.push_back({file, std::move(condition)});
  }
  return selection;
}

std::optional<HubHostView> HubStore::find(const std::string& host, TimePoint now) const {
  std::shared_ptr<const HubHostFile> file;
  {
    const std::lock_guard guard(lock_);
    const auto known = hosts_.find(host);
    if (known == hosts_.end()) return std::nullopt;
    file = known->second.file;
  }
  return HubHostView{file, conditionOf(*file, now, staleAfter_)};
}

HubHostPage HubStore::hosts(const HubHostQuery& query, TimePoint now) const {
  HubHostSelection selection = select(query, now);
  HubHostPage page{.total = selection.total, .hosts = {}};
  for (HubHostView& host : selection.hosts) {
    page.hosts.push_back(recordOf(*host.file, std::move(host.condition), query.withHistory));
  }
  return page;
}

std::optional<HubHostRecord> HubStore::record(const std::string& host, TimePoint now) const {
  auto found = find(host, now);
  if (!found) return std::nullopt;
  return recordOf(*found->file, std::move(found->condition), true);
}

HubStore::View HubStore::view(TimePoint now) const {
  constexpr int trendDays = 30;
  constexpr std::size_t mostRules = 20;
  const std::lock_guard guard(lock_);
  View view;
  view.input.hosts.reserve(hosts_.size());
  view.isInOrder.reserve(hosts_.size());
  for (const auto& [name, host] : hosts_) {
    view.input.hosts.push_back(host.file);
    view.isInOrder.push_back(host.isInOrder);
  }
  view.input.lastDay = totals_.afterDayOf(now - lastDay);
  view.input.lastWeek = totals_.afterDayOf(now - lastWeek);
  view.input.bytesByTier = totals_.bytesByTier();
  view.input.bytesByCategory = totals_.bytesByCategory();
  if (!hosts_.empty()) view.input.trend = totals_.trend(now, trendDays);
  view.input.topRules = totals_.topRules(mostRules);
  return view;
}

HubSummary HubStore::summary(TimePoint now) const {
  View seen = view(now);
  HubSummaryInput& input = seen.input;
  seen.addPartialDays(now);
  input.now = now;
  input.title = title_;
  input.staleAfter = staleAfter_;
  return summaryOf(std::move(input));
}

std::string HubStore::metrics(TimePoint now, const std::string& version) const {
  const HubSummary figures = summary(now);
  return hubMetrics(inventory(), figures, {.version = version, .staleAfter = staleAfter_, .now = now});
}

}  // namespace tidra
