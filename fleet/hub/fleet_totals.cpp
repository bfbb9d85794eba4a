#include "fleet/hub/fleet_totals.h"

#include <algorithm>
#include <string_view>

namespace tidra {
namespace {

using std::chrono::days;
using std::chrono::sys_days;

sys_days dayAt(TimePoint time) { return std::chrono::floor<days>(time); }

}  // namespace

std::int64_t FleetTotals::Activity::freedBytes() const {
  WideSum sum = disposedBytes;
  sum += freedBeyondDisposed;
  return sum.value();
}

void FleetTotals::Activity::add(const HubHistoryPoint& point) {
  disposedBytes += point.disposedBytes;
  if (point.freedBytes) {
    freedBeyondDisposed += *point.freedBytes;
    freedBeyondDisposed -= point.disposedBytes;
  }
  failures += point.failures;
  ++runs;
}

void FleetTotals::Activity::remove(const HubHistoryPoint& point) {
  disposedBytes -= point.disposedBytes;
  if (point.freedBytes) {
    freedBeyondDisposed -= *point.freedBytes;
    freedBeyondDisposed += point.disposedBytes;
  }
  failures -= point.failures;
  --runs;
}

void FleetTotals::Activity::add(const Activity& other) {
  disposedBytes += other.disposedBytes;
  freedBeyondDisposed += other.freedBeyondDisposed;
  failures += other.failures;
  runs += other.runs;
}

void FleetTotals::add(const HubHistoryPoint& point) { days_[dayAt(point.time)].add(point); }

void FleetTotals::remove(const HubHistoryPoint& point) {
  const auto day = days_.find(dayAt(point.time));
  if (day == days_.end()) return;
  day->second.remove(point);
  if (day->second.runs == 0) days_.erase(day);
}

FleetTotals::Activity FleetTotals::afterDayOf(TimePoint time) const {
  Activity sum;
  for (auto later = days_.upper_bound(dayAt(time)); later != days_.end(); ++later) sum.add(later->second);
  return sum;
}

std::vector<HubSummary::DayPoint> FleetTotals::trend(TimePoint now, int count) const {
  std::vector<HubSummary::DayPoint> points;
  for (int ago = count - 1; ago >= 0; --ago) {
    const sys_days day = dayAt(now) - days{ago};
    constexpr std::size_t dateLength = std::string_view("2026-03-14").size();
    HubSummary::DayPoint point{.day = iso8601(day).substr(0, dateLength)};
    if (const auto known = days_.find(day); known != days_.end()) {
      point.disposedBytes = known->second.disposedBytes.value();
      point.freedBytes = known->second.freedBytes();
      point.failures = known->second.failures.value();
      point.runs = known->second.runs;
    }
    points.push_back(std::move(point));
  }
  return points;
}

std::map<FleetTotals::RuleKey, WideSum> FleetTotals::grouped(const std::vector<HubTopItem>& items) {
  std::map<RuleKey, WideSum> groups;
  for (const HubTopItem& item : items) groups[{item.label, item.tier, item.category}] += item.bytes;
  return groups;
}

template <class Key, class Bytes>
void FleetTotals::addTo(Sums<Key>& sums, const std::map<Key, Bytes>& report) {
  for (const auto& [key, bytes] : report) {
    Sum& sum = sums[key];
    sum.bytes += bytes;
    ++sum.hosts;
  }
}

template <class Key, class Bytes>
void FleetTotals::removeFrom(Sums<Key>& sums, const std::map<Key, Bytes>& report) {
  for (const auto& [key, bytes] : report) {
    const auto sum = sums.find(key);
    if (sum == sums.end()) continue;
    sum->second.bytes -= bytes;
    if (--sum->second.hosts == 0) sums.erase(sum);
  }
}

std::map<std::string, std::int64_t> FleetTotals::valuesOf(const Sums<std::string>& sums) {
  std::map<std::string, std::int64_t> values;
  for (const auto& [key, sum] : sums) values.emplace(key, sum.bytes.value());
  return values;
}

void FleetTotals::add(const HubHostReport& latest) {
  addTo(tiers_, latest.bytesByTier);
  addTo(categories_, latest.bytesByCategory);
  addTo(rules_, grouped(latest.topItems));
}

void FleetTotals::remove(const HubHostReport& latest) {
  removeFrom(tiers_, latest.bytesByTier);
  removeFrom(categories_, latest.bytesByCategory);
  removeFrom(rules_, grouped(latest.topItems));
}

std::vector<HubSummary::RuleBytes> FleetTotals::topRules(std::size_t count) const {
  std::vector<const std::pair<const RuleKey, Sum>*> rules;
  rules.reserve(rules_.size());
  for (const auto& rule : rules_) rules.push_back(&rule);
  count = std::min(count, rules.size());
  std::partial_sort(rules.begin(), rules.begin() + static_cast<std::ptrdiff_t>(count), rules.end(),
                    [](const auto* left, const auto* right) {
                      const auto most = left->second.bytes.value();
                      const auto other = right->second.bytes.value();
                      return most != other ? most > other : left->first < right->first;
                    });
  std::vector<HubSummary::RuleBytes> top;
  for (std::size_t i = 0; i < count; ++i) {
    const auto& [key, rule] = *rules[i];
    top.push_back({.label = key.label,
                   .tier = key.tier,
                   .category = key.category,
                   .bytes = rule.bytes.value(),
                   .hosts = rule.hosts});
  }
  return top;
}

}  // namespace tidra
