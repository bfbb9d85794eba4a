// Groups the items, sorts groups and items, prints a line an item with columns as wide as needed, then the totals side
// by side.
#include "cli/scan_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"

namespace tidra {
namespace {

constexpr std::size_t groupsOnScreen = 20;
constexpr std::size_t itemsOfGroup = 8;  // on a screen
constexpr std::size_t barWidth = 10;

struct Group {
  std::string title;
  bool isSystem = false;  // a category outside projects
  std::vector<const ScanReportItem*> items;
  std::int64_t bytes = 0;
  std::optional<TimePoint> lastActivity;  // the latest of its items
};

/// The label, with the tool that alone can remove the item.
std::string itemLabel(const ScanReportItem& item) {
  switch (item.source) {
    case ArtifactSource::dockerCLI:
      return shown(item.label) + " [docker]";
    case ArtifactSource::condaCLI:
      return shown(item.label) + " [conda]";
    case ArtifactSource::pipCLI:
      return shown(item.label) + " [pip]";
    default:
      return shown(item.label);
  }
}

/// True for an item that the default selection skips although its tier is allowed.
bool needsALook(const ScanReportItem& item) { return lacksEvidence(item) && item.tier != ArtifactSafetyTier::warning; }

std::string groupTitle(const ScanReport& report, const ScanReportItem& item) {
  if (item.isInSystemGroup()) return shown(systemScanCategoryName(item.category));
  return shown(TidraPathResolver{report.home, {}}.displayPath(item.group));
}

std::vector<Group> makeGroups(const ScanReport& report, ScanSort sort) {
  std::vector<Group> groups;
  std::map<std::string_view, std::size_t> places;
  for (const ScanReportItem& item : report.items) {
    const auto [place, isNew] = places.try_emplace(item.group, groups.size());
    if (isNew) groups.push_back({groupTitle(report, item), item.isInSystemGroup(), {}, 0, std::nullopt});
    Group& group = groups[place->second];
    group.items.push_back(&item);
    group.bytes = saturatedSum(group.bytes, item.bytes);
    if (item.lastActivity && (!group.lastActivity || *group.lastActivity < *item.lastActivity)) {
      group.lastActivity = item.lastActivity;
    }
  }
  for (Group& group : groups) {
    if (sort == ScanSort::path) continue;
    std::stable_sort(group.items.begin(), group.items.end(),
                     [](const auto* a, const auto* b) { return a->bytes > b->bytes; });
  }
  std::stable_sort(groups.begin(), groups.end(), [sort](const Group& a, const Group& b) {
    if (a.isSystem != b.isSystem) return b.isSystem;
    if (sort == ScanSort::path) return pathPrecedes(a.items.front()->group, b.items.front()->group);
    if (sort == ScanSort::age && a.lastActivity != b.lastActivity) return isOlder(a.lastActivity, b.lastActivity);
    return a.bytes > b.bytes;
  });
  return groups;
}

/// A bar in eighths of a cell; `share` is 0 to 1 of the full width.
std::string bar(double share) {
  constexpr std::array<std::string_view, 9> eighths{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};
  const auto cells =
      std::clamp<std::size_t>(static_cast<std::size_t>(std::lround(share * barWidth * 8.0)), 1, barWidth * 8);
  std::string text;
  for (std::size_t i = 0; i < cells / 8; ++i) text += eighths[8];
  return text + std::string(eighths[cells % 8]);
}

class ScanTextWriter {
 public:
  ScanTextWriter(const ScanReport& report, const ScanViewOptions& options)
      : report_(report), options_(options), style_(options.terminal.colored) {}

  std::string write() {
    auto groups = makeGroups(report_, options_.sort);
    const auto firstSystem =
        std::find_if(groups.begin(), groups.end(), [](const Group& group) { return group.isSystem; });
    const auto projects = static_cast<std::size_t>(firstSystem - groups.begin());
    const std::size_t shownProjects = std::min(projects, groupLimit());
    const std::vector<Group> hidden(groups.begin() + static_cast<std::ptrdiff_t>(shownProjects), firstSystem);
    groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(shownProjects), firstSystem);

    measureColumns(groups);
    for (std::size_t i = 0; i < shownProjects; ++i) writeGroup(groups[i]);
    writeHidden(hidden);
    for (std::size_t i = shownProjects; i < groups.size(); ++i) writeGroup(groups[i]);
    writeCut("How to get it back", cutHints_);
    writeCut("To look at", cutReasons_);
    if (!report_.items.empty()) writeTotals();
    writeSum(projects, groups.size() - shownProjects);
    return std::move(text_);
  }

 private:
  bool onScreen() const { return options_.terminal.isTerminal; }

  std::size_t groupLimit() const {
    const std::size_t limit = options_.limit.value_or(onScreen() ? groupsOnScreen : 0);
    return limit == 0 ? report_.items.size() : limit;
  }

  std::size_t itemLimit(const Group& group) const {
    return onScreen() && !options_.limit ? std::min(group.items.size(), itemsOfGroup) : group.items.size();
  }

  void measureColumns(const std::vector<Group>& groups) {
    for (const Group& group : groups) {
      for (std::size_t k = 0; k < itemLimit(group); ++k) {
        const ScanReportItem& item = *group.items[k];
        largest_ = std::max(largest_, item.bytes);
        labelWidth_ = std::max(labelWidth_, displayWidth(itemLabel(item)));
        ageWidth_ = std::max(ageWidth_, displayWidth(shortAge(item.lastActivity, report_.generatedAt)));
      }
    }
    if (onScreen()) labelWidth_ = std::min(labelWidth_, widestLabel);
  }

  void writeGroup(const Group& group) {
    const std::string size = ByteFormatting::compact(group.bytes);
    std::string activity;
    if (const auto& item = *group.items.front(); item.activity && !group.isSystem) activity = rawValue(*item.activity);
    std::string title = group.title;
    if (onScreen()) {
      const std::size_t room = options_.terminal.columns - sizeWidth - displayWidth(activity) - 4;
      title = paddedRight(fitted(title, room), std::min<std::size_t>(room, headingWidth()));
    }
    text_ += style_.bold(title) + "  " + style_.bold(onScreen() ? paddedLeft(size, sizeWidth) : size);
    if (!activity.empty()) text_ += "  " + style_.activity(*group.items.front()->activity, activity);
    text_ += '\n';
    const std::size_t limit = itemLimit(group);
    for (std::size_t i = 0; i < limit; ++i) writeItem(*group.items[i]);
    if (limit < group.items.size()) {
      text_ += style_.dim(fmt::format("  … and {} more here; --limit 0 shows all", group.items.size() - limit)) + '\n';
    }
    text_ += '\n';
  }

  /// The column of sizes in headings on a screen.
  std::size_t headingWidth() const { return 52; }

  void writeItem(const ScanReportItem& item) {
    const std::string age = shortAge(item.lastActivity, report_.generatedAt);
    const std::string label = itemLabel(item);
    std::size_t used = 2;
    text_ += "  ";
    if (onScreen()) {
      text_ += style_.bar(paddedRight(
                   bar(static_cast<double>(item.bytes) / static_cast<double>(std::max<std::int64_t>(largest_, 1))),
                   barWidth)) +
               " ";
      used += barWidth + 1;
    }
    text_ += paddedLeft(ByteFormatting::compact(item.bytes), sizeWidth) + "  ";
    text_ += paddedRight(onScreen() ? fitted(label, labelWidth_) : label, labelWidth_) + "  ";
    text_ += style_.tier(item.tier, paddedRight(rawValue(item.tier), tierWidth)) + "  ";
    text_ += paddedLeft(age, ageWidth_);
    used += sizeWidth + labelWidth_ + tierWidth + ageWidth_ + 6;
    if (item.restoreHint) text_ += "  " + style_.dim(hint(item, used + 2));
    text_ += '\n';
  }

  /// The restore hint, or why a person has to look first, cut to the line; what is cut is listed below. The hint of a
  /// raised item is a reason too.
  std::string hint(const ScanReportItem& item, std::size_t used) {
    const bool isReason = needsALook(item) && item.noEvidence && item.tier == ArtifactSafetyTier::safe;
    const std::string text = shown(isReason ? *item.noEvidence : *item.restoreHint);
    const std::string whole = (needsALook(item) ? "to look at: " : "") + text;
    if (!onScreen()) return whole;
    const std::size_t room = options_.terminal.columns > used ? options_.terminal.columns - used : 0;
    if (displayWidth(whole) > room) (needsALook(item) ? cutReasons_ : cutHints_).emplace(shown(item.label), text);
    return fitted(whole, room);
  }

  void writeHidden(const std::vector<Group>& hidden) {
    if (hidden.empty()) return;
    std::int64_t bytes = 0;
    for (const Group& group : hidden) bytes = saturatedSum(bytes, group.bytes);
    text_ += fmt::format("… and {} with {}; --limit 0 shows all.\n\n",
                         counted(hidden.size(), "more project", "more projects"), ByteFormatting::compact(bytes));
  }

  using CutTexts = std::set<std::pair<std::string, std::string>>;  // label and whole text

  void writeCut(const char* title, const CutTexts& texts) {
    if (texts.empty()) return;
    text_ += style_.bold(title) + "\n";
    std::size_t width = 0;
    for (const auto& [label, text] : texts) width = std::max(width, displayWidth(label));
    const std::size_t used = width + 4;
    const std::size_t room = options_.terminal.columns > used ? options_.terminal.columns - used : 0;
    for (const auto& [label, text] : texts) {
      text_ += fmt::format("  {}  {}\n", paddedRight(label, width), style_.dim(fitted(text, room)));
    }
    text_ += '\n';
  }

  struct Total {
    std::string name;
    std::int64_t bytes;
  };

  void writeTotals() {
    std::vector<Total> ecosystems;
    for (const auto& [key, bytes] : report_.bytesByEcosystem) ecosystems.push_back({shown(ecosystemName(key)), bytes});
    std::stable_sort(ecosystems.begin(), ecosystems.end(),
                     [](const Total& a, const Total& b) { return a.bytes > b.bytes; });
    std::vector<Total> tiers;
    for (const ArtifactSafetyTier tier : allCases<ArtifactSafetyTier>()) {
      const auto bytes = report_.bytesByTier.find(std::string(rawValue(tier)));
      if (bytes != report_.bytesByTier.end()) tiers.push_back({std::string(rawValue(tier)), bytes->second});
    }
    constexpr std::size_t nameWidth = 31;
    text_ += style_.bold(paddedRight("By ecosystem", nameWidth + sizeWidth + 6) + "By tier") + '\n';
    for (std::size_t i = 0; i < std::max(ecosystems.size(), tiers.size()); ++i) {
      std::string line = std::string(nameWidth + sizeWidth + 2, ' ');
      if (i < ecosystems.size()) line = totalCell(ecosystems[i], nameWidth);
      if (i < tiers.size()) line += "    " + totalCell(tiers[i], tierWidth);
      text_ += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    text_ += '\n';
  }

  static std::string totalCell(const Total& total, std::size_t nameWidth) {
    return "  " + paddedRight(total.name, nameWidth) + paddedLeft(ByteFormatting::compact(total.bytes), sizeWidth);
  }

  /// The roots, joined with ", ", with home folders as "~".
  std::string shownRoots() const {
    std::string roots;
    std::string_view rest = report_.scanRoot;
    while (!rest.empty()) {
      const auto end = std::min(rest.find(", /"), rest.size());
      roots +=
          (roots.empty() ? "" : ", ") + shown(TidraPathResolver{report_.home, {}}.displayPath(rest.substr(0, end)));
      rest.remove_prefix(std::min(end + 2, rest.size()));
    }
    return roots;
  }

  void writeSum(std::size_t projects, std::size_t systemGroups) {
    const std::string in = shownRoots();
    if (report_.items.empty()) {
      text_ += fmt::format("Nothing to reclaim in {}.", in);
    } else {
      text_ += style_.bold(fmt::format("{} reclaimable", ByteFormatting::compact(report_.totalBytes))) +
               fmt::format(": {}", counted(report_.items.size(), "artefact", "artefacts"));
      if (projects > 0) text_ += fmt::format(" in {} below {}", counted(projects, "project", "projects"), in);
      if (systemGroups > 0) {
        text_ += fmt::format("{} in {} outside projects", projects > 0 ? " and" : "",
                             counted(systemGroups, "category", "categories"));
      }
      text_ += '.';
    }
    text_ += options_.isEarlierScan ? fmt::format(" Scanned at {}.\n", iso8601(report_.generatedAt))
                                    : fmt::format(" Scanned in {:.1f} s.\n", report_.durationSeconds);
    writeUnproven();
    if (report_.volume) {
      text_ += style_.dim(fmt::format("The volume has {} free of {}.",
                                      ByteFormatting::compact(report_.volume->availableBytes),
                                      ByteFormatting::compact(report_.volume->totalBytes))) +
               '\n';
    }
    if (report_.partial) text_ += "The scan was interrupted, so this is not all.\n";
  }

  void writeUnproven() {
    std::size_t count = 0;
    std::int64_t bytes = 0;
    for (const ScanReportItem& item : report_.items) {
      if (!needsALook(item)) continue;
      ++count;
      bytes = saturatedSum(bytes, item.bytes);
    }
    if (count == 0) return;
    text_ += fmt::format("To look at: {} with {}, for the reason shown with each.\n",
                         counted(count, "artefact", "artefacts"), ByteFormatting::compact(bytes));
  }

  static constexpr std::size_t tierWidth = 7;

  const ScanReport& report_;
  const ScanViewOptions& options_;
  Style style_;
  std::string text_;
  std::int64_t largest_ = 0;
  std::size_t labelWidth_ = 0;
  std::size_t ageWidth_ = 0;
  CutTexts cutHints_;
  CutTexts cutReasons_;
};

}  // namespace

std::string scanText(const ScanReport& report, const ScanViewOptions& options) {
  return ScanTextWriter(report, options).write();
}

bool isOlder(const std::optional<TimePoint>& a, const std::optional<TimePoint>& b) {
  if (a.has_value() != b.has_value()) return a.has_value();
  return a && *a < *b;
}

std::string shortAge(const std::optional<TimePoint>& lastActivity, TimePoint now) {
  if (!lastActivity) return "–";
  const int months = ScanActivityClassification::monthsSince(*lastActivity, now);
  constexpr int yearsFrom = 24;
  if (months >= yearsFrom) return fmt::format("{} y", months / 12);
  if (months > 0) return fmt::format("{} mo", months);
  const auto days = ScanActivityClassification::idleDays(lastActivity, now).value_or(0);
  return days == 0 ? "today" : fmt::format("{} d", days);
}

std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3; i -= 3) digits.insert(i - 3, ",");
  return digits;
}

std::string counted(std::uint64_t number, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", grouped(number), number == 1 ? one : many);
}

}  // namespace tidra
