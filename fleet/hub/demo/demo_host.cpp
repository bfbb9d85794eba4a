// Generates a host in three steps: its profile (kind, name, temper), the usage of its disk from run to run, and the
// details of its last run, the only ones a hub stores. The figures of the last run add up exactly.
#include "fleet/hub/demo/demo_host.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>

#include "core/base/text.h"
#include "fleet/agent/policy/skip_reason.h"
#include "fleet/hub/demo/demo_disk.h"
#include "fleet/hub/report_filing.h"

namespace tidra {
namespace {

using std::chrono::seconds;

constexpr std::int64_t daySeconds = 86400;

std::int64_t bytes(double figure) { return static_cast<std::int64_t>(figure); }

std::string replaced(std::string text, std::string_view part, std::string_view by) {
  if (const auto at = text.find(part); at != std::string::npos) text.replace(at, part.size(), by);
  return text;
}

std::string hexadecimal(DemoRandom& random, int words) {
  std::string digits;
  for (int i = 0; i < words; ++i) digits += fmt::format("{:016x}", random.next());
  return digits;
}

std::string runIdentifier(DemoRandom& random) {
  const std::string digits = fmt::format("{:016X}{:016X}", random.next(), random.next());
  return fmt::format("{}-{}-4{}-A{}-{}", digits.substr(0, 8), digits.substr(8, 4), digits.substr(13, 3),
                     digits.substr(17, 3), digits.substr(20));
}

/// The traits of a host; most have none.
struct Temper {
  bool dryRun, silent, failing, broken, lowOnDisk, rewound;

  explicit Temper(DemoRandom& random)
      : dryRun(random.chance(0.10)),
        silent(random.chance(0.05)),
        failing(random.chance(0.05)),
        broken(random.chance(0.01)),
        lowOnDisk(random.chance(0.06)),
        rewound(random.chance(0.01)) {}
};

/// Distributes a total over the items of the tier safe, or over the others, in proportion to their weights.
void distribute(double total, bool isSafe, const std::vector<double>& weights, std::vector<HubTopItem>& items) {
  const auto belongs = [&](std::size_t i) { return (items[i].tier == ArtifactSafetyTier::safe) == isSafe; };
  double sum = 0;
  for (std::size_t i = 0; i < items.size(); ++i) sum += belongs(i) ? weights[i] : 0;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (belongs(i)) items[i].bytes = bytes(total * weights[i] / sum);
  }
}

/// The findings of a scan, largest first. Those of the tier safe add up to one figure of `disk`, the others to the
/// other.
std::vector<HubTopItem> foundItems(const DemoKind& kind, const DemoDisk& disk, const std::string& home,
                                   DemoRandom& random) {
  std::vector<HubTopItem> items;
  std::vector<double> weights;
  const auto add = [&](const DemoFinding& finding, std::string_view project) {
    HubTopItem item;
    item.path = replaced(replaced(std::string(finding.path), "~", home), "{}", project);
    const auto isSame = [&](const HubTopItem& other) { return other.path == item.path; };
    if (std::any_of(items.begin(), items.end(), isSame)) return;
    item.label = finding.label;
    item.category = finding.category;
    item.tier = finding.tier;
    if (!finding.ruleID.empty()) item.ruleID = finding.ruleID;
    if (!project.empty()) item.idleDays = bytes(200 * random.share() * random.share());
    items.push_back(std::move(item));
    weights.push_back(finding.weight * random.between(0.2, 1.8));
  };
  for (const DemoFinding& finding : kind.findings) {
    if (finding.path.find("{}") == std::string_view::npos) {
      add(finding, "");
    } else {
      for (auto copies = random.between(std::int64_t{1}, std::int64_t{4}); copies > 0; --copies) {
        add(finding, random.pick(demoProjects()));
      }
    }
  }
  distribute(disk.cleanable(), true, weights, items);
  distribute(disk.delicate(), false, weights, items);
  std::sort(items.begin(), items.end(), [](const HubTopItem& left, const HubTopItem& right) {
    return left.bytes != right.bytes ? left.bytes > right.bytes : left.path < right.path;
  });
  return items;
}

struct Totals {
  std::int64_t disposedBytes = 0, disposedItems = 0, failures = 0, runs = 0;
};

/// A host's runs. One report object is updated by each run, to save memory.
class Runs {
 public:
  Runs(const DemoKind& kind, const Temper& temper, std::string home, HubHostReport report, DemoRandom& random)
      : kind_(kind),
        temper_(temper),
        home_(std::move(home)),
        random_(random),
        disk_(kind, temper.lowOnDisk, random),
        report_(std::move(report)) {
    report_.volumeTotalBytes = disk_.sizeBytes();
  }

  DemoStory story(TimePoint first, TimePoint last) {
    const std::int64_t all = (last - first) / seconds{kind_.intervalSeconds} + 1;
    const std::int64_t kept = std::min(all, static_cast<std::int64_t>(HubHostFile::mostHistory));
    startTotals(all - kept);
    const std::int64_t rewindAt =
        temper_.rewound && kept > 1 ? random_.between(std::int64_t{0}, std::min<std::int64_t>(kept - 2, 20)) : -1;
    story_.file.history.reserve(static_cast<std::size_t>(kept));
    for (std::int64_t left = kept - 1; left >= 0; --left) {
      const std::int64_t wobble = kind_.intervalSeconds / 40;
      const seconds jitter{left == 0 ? 0 : random_.between(-wobble, wobble)};
      run(last - seconds{left * kind_.intervalSeconds} + jitter, left, kept);
      if (left == rewindAt) rewind();
      record(left);
    }
    HubHostFile& file = story_.file;
    file.host = report_.host;
    file.firstSeen = std::min(first, file.history.front().time);
    file.lastSeen = file.history.back().time;
    file.reports = all;
    file.latest = std::move(report_);
    return std::move(story_);
  }

 private:
  void startTotals(std::int64_t earlierRuns) {
    totals_.runs = earlierRuns;
    if (temper_.dryRun) return;
    totals_.disposedBytes = bytes(static_cast<double>(earlierRuns * kind_.intervalSeconds) / daySeconds *
                                  kind_.gigabytesADay * demoGigabyte * 0.9);
    totals_.disposedItems = totals_.disposedBytes / bytes(demoGigabyte / 2);
    totals_.failures = earlierRuns / 40;
  }

  void run(TimePoint arrival, std::int64_t left, std::int64_t kept) {
    report_.durationSeconds = std::round(random_.between(0.4, 9.0) * 1000) / 1000;
    report_.startedAt = arrival - seconds{1 + bytes(report_.durationSeconds)};
    disk_.fill(arrival, kind_.intervalSeconds);
    arrival_ = arrival;
    report_.findings = 12 + bytes(disk_.cleanable() / demoGigabyte / 4);
    report_.reclaimableBytes = bytes(disk_.cleanable() + disk_.delicate());
    report_.failures = 0;
    if (left == 0) {
      lastRun();
    } else {
      const double swept = temper_.dryRun ? 0 : disk_.sweep();
      report_.disposedBytes = bytes(swept);
      report_.disposedItems = swept > 0 ? 1 + bytes(swept / demoGigabyte * 1.7) : 0;
      if (swept > 0 && random_.chance(temper_.failing ? 0.2 : 0.01))
        report_.failures = random_.between(std::int64_t{1}, std::int64_t{2});
    }
    report_.succeeded = report_.failures == 0 && !(left == 0 && temper_.broken);
    report_.volumeAvailableBytes = disk_.freeBytes(static_cast<double>(left) / static_cast<double>(kept));
    addTotals();
  }

  /// Generates details, which the hub shows for the last run only.
  void lastRun() {
    auto items = foundItems(kind_, disk_, home_, random_);
    report_.findings = static_cast<std::int64_t>(items.size());
    report_.reclaimableBytes = 0;
    const auto skip = [this](SkipReason reason) { ++report_.skippedByReason[std::string(rawValue(reason))]; };
    std::vector<std::int64_t> planned;
    for (const HubTopItem& item : items) {
      report_.reclaimableBytes += item.bytes;
      report_.bytesByTier[std::string(rawValue(item.tier))] += item.bytes;
      report_.bytesByCategory[item.category] += item.bytes;
      if (item.tier == ArtifactSafetyTier::warning) {
        skip(SkipReason::tierNeverRemoved);
      } else if (item.tier == ArtifactSafetyTier::caution) {
        skip(SkipReason::tierNotAutoCleaned);
      } else if (item.bytes < bytes(demoGigabyte / 100)) {
        skip(SkipReason::tooSmall);
      } else if (item.idleDays && *item.idleDays < 7) {
        skip(SkipReason::tooRecent);
      } else if (random_.chance(0.5)) {
        planned.push_back(item.bytes);
      } else {
        skip(random_.chance(0.8) ? SkipReason::tooRecent : SkipReason::overBudget);
      }
    }
    if (temper_.failing && !temper_.dryRun && planned.empty()) planned.push_back(items.front().bytes);
    dispose(planned);
    constexpr std::size_t mostTopItems = 25;
    items.resize(std::min(items.size(), mostTopItems));
    report_.topItems = std::move(items);
  }

  void dispose(const std::vector<std::int64_t>& planned) {
    report_.plannedItems = static_cast<std::int64_t>(planned.size());
    report_.plannedBytes = std::accumulate(planned.begin(), planned.end(), std::int64_t{0});
    report_.disposedBytes = 0;
    report_.disposedItems = 0;
    if (temper_.dryRun) return;
    if (temper_.failing)
      report_.failures = std::min(report_.plannedItems, random_.between(std::int64_t{1}, std::int64_t{3}));
    for (auto item = planned.begin() + report_.failures; item != planned.end(); ++item) report_.disposedBytes += *item;
    report_.disposedItems = report_.plannedItems - report_.failures;
    report_.purgedItems = report_.disposedItems / 2;
    report_.purgedBytes = report_.disposedBytes / 2;
    report_.quarantineItems = report_.disposedItems * 2;
    report_.quarantineBytes = report_.disposedBytes * 2;
  }

  /// Agents of earlier versions do not report it. Hard links keep some of what was removed.
  void addFreed() {
    if (report_.tidraVersion != demoVersions().back()) return;
    const auto freedOf = [](std::int64_t bytes) { return bytes - bytes / 20; };
    report_.freedBytes = freedOf(report_.disposedBytes);
    report_.freedBytesTotal = freedOf(totals_.disposedBytes);
  }

  void addTotals() {
    ++totals_.runs;
    totals_.disposedBytes += report_.disposedBytes;
    totals_.disposedItems += report_.disposedItems;
    totals_.failures += report_.failures;
    report_.disposedBytesTotal = totals_.disposedBytes;
    report_.disposedItemsTotal = totals_.disposedItems;
    report_.failuresTotal = totals_.failures;
    report_.runsTotal = totals_.runs;
    addFreed();
    // One record each for a run's start, its end and every item.
    report_.auditSeq = 2 * totals_.runs + totals_.disposedItems + totals_.failures;
  }

  /// Simulates a lost audit log: this run starts a new one.
  void rewind() {
    HubHostReport before;
    before.auditSeq = report_.auditSeq - 2 - report_.disposedItems - report_.failures;
    totals_ = {};
    addTotals();
    if (!isAuditRewind(before, report_)) return;
    story_.file.lastAuditRewind = arrival_;
    story_.events.push_back(rewindEvent(before, report_, arrival_));
  }

  void record(std::int64_t left) {
    constexpr std::int64_t runsWithEvents = 20;
    story_.file.history.push_back(pointOf(report_, arrival_));
    if (left < runsWithEvents) story_.events.push_back(receivedEvent(report_, arrival_));
  }

  const DemoKind& kind_;
  const Temper temper_;
  const std::string home_;
  DemoRandom& random_;
  DemoDisk disk_;
  HubHostReport report_;
  Totals totals_;
  TimePoint arrival_;
  DemoStory story_;
};

const DemoKind& kindOf(double share) {
  for (const DemoKind& kind : demoKinds()) {
    if (share < kind.share) return kind;
    share -= kind.share;
  }
  return demoKinds().back();
}

/// Prefers newer versions.
std::string_view versionOf(DemoRandom& random) {
  const auto versions = demoVersions();
  std::size_t at = versions.size() - 1;
  while (at > 0 && random.chance(0.3)) --at;
  return versions[at];
}

/// What a host reports of itself, in all of its runs.
HubHostReport introduction(const DemoKind& kind, const std::string& host, const Temper& temper, DemoRandom& random) {
  HubHostReport report;
  report.host = host;
  report.platform = kind.platform;
  report.tidraVersion = versionOf(random);
  report.catalogVersion = report.tidraVersion == demoVersions().back() ? "2026.10.27" : "2026.6.2";
  report.policyName = random.chance(0.04) ? "strict" : std::string(kind.policy);
  report.tags = {{"role", std::string(kind.role)}, {"team", std::string(random.pick(demoTeams()))}};
  report.runID = runIdentifier(random);
  report.intervalSeconds = kind.intervalSeconds;
  report.dryRun = temper.dryRun;
  report.auditHeadHash = hexadecimal(random, 4);
  return report;
}

void addNote(DemoStory& story, std::int64_t intervalSeconds, DemoRandom& random) {
  const TimePoint time = story.file.lastSeen - seconds{random.between(std::int64_t{60}, intervalSeconds)};
  story.file.note = random.pick(demoNotes());
  story.events.push_back({.time = time,
                          .kind = HubEvent::Kind::noteUpdated,
                          .host = story.file.host,
                          .message = *story.file.note,
                          .bytes = {}});
  // The note acknowledges an earlier rewind.
  if (story.file.lastAuditRewind && *story.file.lastAuditRewind <= time) story.file.lastAuditRewind.reset();
}

}  // namespace

DemoHosts::DemoHosts(std::uint64_t seed, std::int64_t days, TimePoint now)
    : seeds_(seed), days_(days), now_(now), counts_(demoKinds().size()) {}

DemoHosts::Identity DemoHosts::identityOf(const DemoKind& kind, std::int64_t numberOfKind, DemoRandom& random) {
  const auto users = demoUsers();
  const auto count = static_cast<std::int64_t>(users.size());
  const std::string_view first = users[static_cast<std::size_t>(numberOfKind % count)];
  const std::int64_t namesakes = numberOfKind / count;
  const std::string user = namesakes == 0 ? std::string(first) : fmt::format("{}{}", first, namesakes + 1);
  std::string host = replaced(std::string(kind.name), "{user}", user);
  host = replaced(host, "{region}", random.pick(demoRegions()));
  host = replaced(host, "{n}", fmt::format("{:02}", numberOfKind + 1));
  for (int number = 2; !taken_.insert(host).second; ++number) host = fmt::format("{}-{}", host, number);
  return {.host = host, .home = replaced(std::string(kind.home), "{user}", user)};
}

DemoStory DemoHosts::next() {
  // A generator per host: an extra draw for one host changes no other.
  DemoRandom random(seeds_.next());
  const DemoKind& kind = kindOf(random.share());
  auto& count = counts_[static_cast<std::size_t>(&kind - demoKinds().data())];
  Identity identity = identityOf(kind, count++, random);
  const Temper temper(random);
  HubHostReport report = introduction(kind, identity.host, temper, random);

  const std::int64_t interval = kind.intervalSeconds;
  constexpr std::int64_t longestSilence = 25 * daySeconds;
  const std::int64_t silence = temper.silent ? random.between(interval * 3, std::max(longestSilence, interval * 4))
                                             : random.between(std::int64_t{0}, interval - interval / 10);
  const TimePoint last = now_ - seconds{silence};
  const double share = random.chance(0.15) ? random.share() : 1;  // some hosts joined later
  const TimePoint first = std::min(last, now_ - seconds{bytes(share * static_cast<double>(days_ * daySeconds))});

  DemoStory story = Runs(kind, temper, std::move(identity.home), std::move(report), random).story(first, last);
  if (random.chance(temper.silent || temper.failing ? 0.3 : 0.03)) addNote(story, interval, random);
  return story;
}

}  // namespace tidra
