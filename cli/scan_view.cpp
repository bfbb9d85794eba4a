// Groups the items, sorts groups and items, prints a line an item with the columns that the terminal has room for, then
// what the columns had no room for, and the summary.
#include "cli/scan_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <utility>

#include "app/view/duration_text.h"
#include "app/view/item_hint.h"
#include "cli/scan_summary.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/model/system_scan_categories.h"

namespace tidra {
namespace {

constexpr std::size_t groupsOnScreen = 20;
constexpr std::size_t itemsOfGroup = 8;  // on a screen
constexpr std::size_t barWidth = 10;
constexpr std::size_t headingWidth = 52;  // before the sizes of groups on a screen

struct Group {
  std::string title;
  bool isSystem = false;  // a category outside projects
  std::vector<std::size_t> items;
  std::int64_t bytes = 0;
  std::optional<TimePoint> lastActivity;  // the latest of its items
};

/// The label, with the tool that alone can remove the item.
std::string itemLabel(const ScanReportItem& item) {
  switch (item.source) {
    case ArtifactSource::dockerCLI:
      return shownWords(item.label) + " [docker]";
    case ArtifactSource::condaCLI:
      return shownWords(item.label) + " [conda]";
    case ArtifactSource::pipCLI:
      return shownWords(item.label) + " [pip]";
    default:
      return shownWords(item.label);
  }
}

std::string groupTitle(const ScanReport& report, const ScanReportItem& item) {
  if (item.isInSystemGroup()) return shown(systemScanCategoryName(item.category));
  return shown(TidraPathResolver{report.home, {}}.displayPath(item.group));
}

void sortGroups(std::vector<Group>& groups, const ScanPicture& picture, ScanSort sort) {
  const auto& items = picture.report.items;
  for (Group& group : groups) {
    if (sort == ScanSort::path) continue;
    std::stable_sort(group.items.begin(), group.items.end(),
                     [&](std::size_t a, std::size_t b) { return picture.sizes.of(a) > picture.sizes.of(b); });
  }
  std::stable_sort(groups.begin(), groups.end(), [&](const Group& a, const Group& b) {
    if (a.isSystem != b.isSystem) return b.isSystem;
    if (sort == ScanSort::path) return pathPrecedes(items[a.items.front()].group, items[b.items.front()].group);
    if (sort == ScanSort::age && a.lastActivity != b.lastActivity) return isOlder(a.lastActivity, b.lastActivity);
    return a.bytes > b.bytes;
  });
}

std::vector<Group> makeGroups(const ScanPicture& picture, ScanSort sort) {
  const ScanReport& report = picture.report;
  std::vector<Group> groups;
  std::map<std::string_view, std::size_t> places;
  std::vector<std::size_t> groupOf;
  for (std::size_t i = 0; i < report.items.size(); ++i) {
    const ScanReportItem& item = report.items[i];
    const auto [place, isNew] = places.try_emplace(item.group, groups.size());
    if (isNew) groups.push_back({groupTitle(report, item), item.isInSystemGroup(), {}, 0, std::nullopt});
    groupOf.push_back(place->second);
    Group& group = groups[place->second];
    group.items.push_back(i);
    if (item.lastActivity && (!group.lastActivity || *group.lastActivity < *item.lastActivity)) {
      group.lastActivity = item.lastActivity;
    }
  }
  const auto sums = picture.sizes.ofParts(groupOf, groups.size());
  for (std::size_t i = 0; i < groups.size(); ++i) groups[i].bytes = sums[i];
  sortGroups(groups, picture, sort);
  return groups;
}

/// A bar in eighths of a cell; `share` is 0 to 1 of the full width.
std::string bar(double share) {
  constexpr std::array<std::string_view, 9> eighths{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};
  if (!glyphs().isUtf8)
    return std::string(static_cast<std::size_t>(std::clamp(std::lround(share * barWidth), 1L, long{barWidth})), '#');
  const auto cells =
      std::clamp<std::size_t>(static_cast<std::size_t>(std::lround(share * barWidth * 8.0)), 1, barWidth * 8);
  std::string text;
  for (std::size_t i = 0; i < cells / 8; ++i) text += eighths[8];
  return text + std::string(eighths[cells % 8]);
}

/// The columns of item lines.
struct ScanColumns {
  bool hasBar = false;
  bool hasTier = true;
  std::size_t label = 0;
  std::size_t age = 0;                   // 0: none
  std::optional<std::size_t> note = {};  // 0: none; absent: unbounded

  /// Drops what a narrow screen has no room for: first the bar, last the tier.
  void fit(std::size_t screen) {
    constexpr std::size_t leastNote = 14;
    constexpr std::size_t fewestWithBar = 72;
    constexpr std::size_t fewestWithAge = 44;
    constexpr std::size_t fewestWithTier = 30;
    hasBar = screen >= fewestWithBar;
    hasTier = screen >= fewestWithTier;
    if (screen < fewestWithAge) age = 0;
    const std::size_t others = beforeNote() - label;
    label = std::min({label, widestLabel, screen > others ? screen - others : 1});
    const std::size_t used = beforeNote() + 2;
    note = screen >= used + leastNote ? screen - used : 0;
  }

 private:
  std::size_t beforeNote() const {
    return 2 + (hasBar ? barWidth + 1 : 0) + sizeWidth + 2 + label + (hasTier ? tierWidth + 2 : 0) +
           (age > 0 ? age + 2 : 0);
  }
};

class ScanTextWriter {
 public:
  ScanTextWriter(const ScanPicture& picture, const ScanViewOptions& options)
      : picture_(picture), report_(picture.report), options_(options), style_(options.terminal.colored) {}

  std::string write() {
    auto groups = makeGroups(picture_, options_.sort);
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
    writeCut("How to get it back", cutWaysBack_);
    writeCut("Afterwards", cutEffects_);
    return std::move(text_) + totalsText(picture_, options_) + sumText(picture_, options_, listsAll_);
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
        const ScanReportItem& item = report_.items[group.items[k]];
        largest_ = std::max(largest_, picture_.sizes.of(group.items[k]));
        columns_.label = std::max(columns_.label, displayWidth(itemLabel(item)));
        columns_.age = std::max(columns_.age, displayWidth(shortAge(item.lastActivity, report_.generatedAt)));
      }
    }
    if (onScreen()) columns_.fit(options_.terminal.columns);
  }

  void writeGroup(const Group& group) {
    const std::string size = ByteFormatting::readable(group.bytes);
    const ScanReportItem& first = report_.items[group.items.front()];
    const bool isDated = first.activity && !group.isSystem;
    std::string activity = isDated ? std::string(rawValue(*first.activity)) : "";
    std::string title = group.title;
    if (onScreen()) {
      constexpr std::size_t fewestWithActivity = 44;
      constexpr std::size_t widestActivity = 8;
      if (options_.terminal.columns < fewestWithActivity) activity.clear();
      const std::size_t others = sizeWidth + 2 + (activity.empty() ? 0 : widestActivity + 2);
      const std::size_t room = options_.terminal.columns > others ? options_.terminal.columns - others : 1;
      title = paddedRight(fittedInside(title, room), std::min(room, headingWidth));
    }
    text_ += style_.bold(title) + "  " + style_.bold(onScreen() ? paddedLeft(size, sizeWidth) : size);
    if (!activity.empty()) text_ += "  " + style_.activity(*first.activity, activity);
    text_ += '\n';
    const std::size_t limit = itemLimit(group);
    for (std::size_t i = 0; i < limit; ++i) writeItem(group.items[i]);
    if (limit < group.items.size()) {
      listsAll_ = false;
      text_ += dimParagraph(
          fmt::format("{} and {} more here; --limit 0 shows all", glyphs().ellipsis, group.items.size() - limit),
          options_.terminal, 2);
    }
    text_ += '\n';
  }

  void writeItem(std::size_t index) {
    const ScanReportItem& item = report_.items[index];
    const std::int64_t bytes = picture_.sizes.of(index);
    const double share = static_cast<double>(bytes) / static_cast<double>(std::max<std::int64_t>(largest_, 1));
    std::string line = "  ";
    if (columns_.hasBar) line += style_.bar(paddedRight(bar(share), barWidth)) + " ";
    line += paddedLeft(ByteFormatting::readable(bytes), sizeWidth) + "  ";
    const std::string label = itemLabel(item);
    line += paddedRight(onScreen() ? fitted(label, columns_.label) : label, columns_.label);
    if (columns_.hasTier) line += "  " + style_.tier(item.tier, paddedRight(rawValue(item.tier), tierWidth));
    if (columns_.age > 0) line += "  " + paddedLeft(shortAge(item.lastActivity, report_.generatedAt), columns_.age);
    const std::string note = noteOf(index);
    if (!note.empty() && (!columns_.note || displayWidth(note) <= *columns_.note)) {
      text_ += line + "  " + style_.dim(note) + '\n';
    } else if (!note.empty()) {
      writeCutNote(index, line, note);
    } else {
      writeLine(line);
    }
  }

  /// Why it stays, what is left to review, or the hint; then what makes its size differ from that of its files.
  std::string noteOf(std::size_t index) const {
    const ScanReportItem& item = report_.items[index];
    const ItemMark& mark = picture_.marks[index];
    const std::string reason = TidraPathResolver{report_.home, {}}.displayText(mark.reason);
    std::string note = hintNote(item);
    if (mark.kind == ItemMark::Kind::kept) note = "stays: it " + shownWords(reason);
    if (mark.kind == ItemMark::Kind::review) note = "to review: " + shownWords(reason);
    if (!item.difference) return note;
    return note + (note.empty() ? "" : "; ") + std::string(describedDifference(*item.difference));
  }

  /// The hint within the width of notes, cut so that the difference stays.
  std::string cutHint(const ScanReportItem& item) const {
    constexpr std::size_t leastHint = 12;
    const std::string hint = hintNote(item);
    const std::string word = item.difference ? fmt::format("; {}", describedDifference(*item.difference)) : "";
    if (*columns_.note < leastHint + word.size()) return fitted(hint, *columns_.note);
    return fitted(hint, *columns_.note - word.size()) + word;
  }

  static std::string hintNote(const ScanReportItem& item) {
    const auto hint = hintOf(item);
    if (!hint) return {};
    return shownWords(hint->kind == ItemHint::Kind::careful ? hint->sentence() : hint->text);
  }

  /// A hint that has no room is listed below, once for all items that it fits; a reason concerns its item only.
  void writeCutNote(std::size_t index, const std::string& line, const std::string& note) {
    const auto hint = hintOf(report_.items[index]);
    const auto kind = picture_.marks[index].kind;
    const bool isListed =
        hint && hint->kind != ItemHint::Kind::careful && kind != ItemMark::Kind::kept && kind != ItemMark::Kind::review;
    if (!isListed) {
      writeLine(line);
      text_ += dimParagraph(note, options_.terminal, 4);
      return;
    }
    auto& list = hint->kind == ItemHint::Kind::afterwards ? cutEffects_ : cutWaysBack_;
    list.emplace(shownWords(report_.items[index].label), shownWords(hint->text));
    if (*columns_.note == 0) return writeLine(line);
    text_ += line + "  " + style_.dim(cutHint(report_.items[index])) + '\n';
  }

  void writeLine(const std::string& line) { text_ += line.substr(0, line.find_last_not_of(' ') + 1) + '\n'; }

  void writeHidden(const std::vector<Group>& hidden) {
    if (hidden.empty()) return;
    listsAll_ = false;
    std::set<std::size_t> items;
    for (const Group& group : hidden) items.insert(group.items.begin(), group.items.end());
    const std::int64_t bytes = picture_.sizes.ofThose([&](std::size_t i) { return items.contains(i); });
    text_ +=
        paragraph(fmt::format("{} and {} with {}; --limit 0 shows all.", glyphs().ellipsis,
                              counted(hidden.size(), "more project", "more projects"), ByteFormatting::readable(bytes)),
                  options_.terminal) +
        '\n';
  }

  using CutTexts = std::set<std::pair<std::string, std::string>>;  // label and whole text

  void writeCut(const char* title, const CutTexts& texts) {
    if (texts.empty()) return;
    text_ += style_.bold(title) + "\n";
    for (const auto& [label, text] : texts) {
      text_ += paragraph(fmt::format("{}: {}", label, text), options_.terminal, 2);
    }
    text_ += '\n';
  }

  const ScanPicture& picture_;
  const ScanReport& report_;
  const ScanViewOptions& options_;
  Style style_;
  std::string text_;
  std::int64_t largest_ = 0;
  bool listsAll_ = true;
  ScanColumns columns_;
  CutTexts cutWaysBack_;
  CutTexts cutEffects_;
};

}  // namespace

std::string scanText(const ScanPicture& picture, const ScanViewOptions& options) {
  return ScanTextWriter(picture, options).write();
}

bool isOlder(const std::optional<TimePoint>& a, const std::optional<TimePoint>& b) {
  if (a.has_value() != b.has_value()) return a.has_value();
  return a && *a < *b;
}

std::string shortAge(const std::optional<TimePoint>& lastActivity, TimePoint now) {
  return idleText(lastActivity, now, glyphs().dash);
}

}  // namespace tidra
