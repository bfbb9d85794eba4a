#include "cli/scan_summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <vector>

#include "cli/local_time.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/model/ecosystems.h"

namespace tidra {
namespace {

constexpr std::size_t widestName = 31;

struct Total {
  std::string name;
  std::int64_t bytes = 0;
};

/// The sums of the items by `keyOf`, largest first.
template <class KeyOf>
std::vector<Total> totalsBy(const ScanPicture& picture, KeyOf keyOf) {
  std::map<std::string, std::size_t> parts;
  std::vector<std::size_t> partOf;
  std::vector<Total> totals;
  for (const ScanReportItem& item : picture.report.items) {
    const auto [part, isNew] = parts.try_emplace(keyOf(item), totals.size());
    if (isNew) totals.push_back({part->first});
    partOf.push_back(part->second);
  }
  const auto sums = picture.sizes.ofParts(partOf, totals.size());
  for (std::size_t i = 0; i < totals.size(); ++i) totals[i].bytes = sums[i];
  std::stable_sort(totals.begin(), totals.end(), [](const Total& a, const Total& b) { return a.bytes > b.bytes; });
  return totals;
}

std::string totalCell(const Total& total, std::size_t nameWidth) {
  return "  " + paddedRight(fitted(total.name, nameWidth), nameWidth) +
         paddedLeft(ByteFormatting::readable(total.bytes), sizeWidth);
}

/// The roots, joined with ", ", with home folders as "~".
std::string shownRoots(const ScanReport& report) {
  std::string roots;
  std::string_view rest = report.scanRoot;
  while (!rest.empty()) {
    const auto end = std::min(rest.find(", /"), rest.size());
    roots += (roots.empty() ? "" : ", ") + shown(TidraPathResolver{report.home, {}}.displayPath(rest.substr(0, end)));
    rest.remove_prefix(std::min(end + 2, rest.size()));
  }
  return roots;
}

/// The items of one kind.
struct Part {
  std::size_t items = 0;
  std::size_t projects = 0;
  std::size_t categories = 0;
  std::int64_t bytes = 0;

  Part(const ScanPicture& picture, ItemMark::Kind kind) {
    const auto isMeant = [&](std::size_t i) { return picture.marks[i].kind == kind; };
    std::set<std::string_view> groups;
    for (std::size_t i = 0; i < picture.marks.size(); ++i) {
      if (!isMeant(i)) continue;
      ++items;
      const ScanReportItem& item = picture.report.items[i];
      if (!groups.insert(item.group).second) continue;
      ++(item.isInSystemGroup() ? categories : projects);
    }
    bytes = picture.sizes.ofThose(isMeant);
  }

  std::string count() const { return counted(items, "artefact", "artefacts"); }
  std::string size() const { return ByteFormatting::readable(bytes); }
  std::string places(const std::string& roots) const {
    std::string text;
    if (projects > 0) text += fmt::format(" in {} below {}", counted(projects, "project", "projects"), roots);
    if (categories > 0) {
      text += fmt::format("{} in {} outside projects", projects > 0 ? " and" : "",
                          counted(categories, "category", "categories"));
    }
    return text;
  }
};

/// A paragraph whose beginning is bold.
std::string ledParagraph(const std::string& lead, const std::string& rest, const ScanViewOptions& options) {
  std::string text = paragraph(lead + rest, options.terminal);
  if (!text.starts_with(lead)) return text;  // the first line ends within it
  return Style(options.terminal.colored).bold(lead) + text.substr(lead.size());
}

/// What hard links between the items that go add to the sum of their sizes.
std::string sharedText(const ScanPicture& picture, const Part& goes, const ScanViewOptions& options) {
  constexpr std::int64_t least = 1 << 20;
  constexpr std::int64_t leastShare = 20;  // a twentieth
  std::int64_t alone = 0;
  for (std::size_t i = 0; i < picture.marks.size(); ++i) {
    if (picture.marks[i].kind == ItemMark::Kind::goes) alone = saturatedSum(alone, picture.sizes.of(i));
  }
  const std::int64_t shared = goes.bytes - alone;
  if (shared < least || shared < goes.bytes / leastShare) return {};
  return paragraph(fmt::format("{} of it only when all artefacts that share it through hard links go.",
                               ByteFormatting::readable(shared)),
                   options.terminal);
}

std::string whenText(const ScanReport& report, const ScanViewOptions& options) {
  return options.isEarlierScan ? fmt::format(" Scanned at {}.", localTime(report.generatedAt))
                               : fmt::format(" Scanned in {:.1f} s.", report.durationSeconds);
}

/// The parts of the list by what becomes of them.
struct Parts {
  explicit Parts(const ScanPicture& picture)
      : goes(picture, ItemMark::Kind::goes),
        review(picture, ItemMark::Kind::review),
        kept(picture, ItemMark::Kind::kept),
        unknown(picture, ItemMark::Kind::unknown) {}

  Part goes;
  Part review;
  Part kept;
  Part unknown;
};

/// The first sentence: what can be freed, or why nothing can.
std::string openingText(const Parts& parts, const ScanPicture& picture, const ScanViewOptions& options) {
  const std::string roots = shownRoots(picture.report);
  const std::string when = whenText(picture.report, options);
  const Part& goes = parts.goes;
  if (parts.unknown.items > 0) {
    return ledParagraph(fmt::format("{} found before the interruption", parts.unknown.size()),
                        fmt::format(": {}{}.{} What can go was not checked; scan again to know.", parts.unknown.count(),
                                    parts.unknown.places(roots), when),
                        options);
  }
  if (picture.report.items.empty()) {
    const std::string nothing = options.filters.empty() ? fmt::format("Nothing to reclaim in {}.{}", roots, when)
                                                        : fmt::format("Nothing in {} matches {}.{}", roots,
                                                                      joined(options.filters, " and "), when);
    return paragraph(nothing, options.terminal);
  }
  if (goes.items == 0) {
    const char* what = parts.review.items == 0 ? "can be freed now" : "goes without a decision of yours";
    return paragraph(fmt::format("Nothing in {} {}.{}", roots, what, when), options.terminal);
  }
  const bool isBound = picture.isUpperBound && !picture.sizes.areApparent();
  const std::string lead = fmt::format("{}{} can be {}", isBound ? "Up to " : "", goes.size(),
                                       picture.sizes.areApparent() ? "removed" : "freed");
  return ledParagraph(lead, fmt::format(": {}{}.{}", goes.count(), goes.places(roots), when), options) +
         sharedText(picture, goes, options);
}

}  // namespace

std::string totalsText(const ScanPicture& picture, const ScanViewOptions& options) {
  if (picture.report.items.empty()) return {};
  const auto ecosystems = totalsBy(picture, [](const auto& item) { return shown(ecosystemName(item.ecosystem)); });
  auto tiers = totalsBy(picture, [](const auto& item) { return std::string(rawValue(item.tier)); });
  std::sort(tiers.begin(), tiers.end(), [](const Total& a, const Total& b) {
    return fromRawValue<ArtifactSafetyTier>(a.name) < fromRawValue<ArtifactSafetyTier>(b.name);
  });
  const Style style(options.terminal.colored);
  const std::size_t columns = options.terminal.columns;
  std::size_t nameWidth = widestName;
  if (options.terminal.isTerminal) nameWidth = std::min(nameWidth, columns - std::min(columns, sizeWidth + 3));
  std::string text;
  if (options.terminal.isTerminal && columns < widestName + tierWidth + 2 * sizeWidth + 8) {
    text = style.bold("By ecosystem") + '\n';
    for (const Total& total : ecosystems) text += totalCell(total, nameWidth) + '\n';
    text += '\n' + style.bold("By tier") + '\n';
    for (const Total& total : tiers) text += totalCell(total, nameWidth) + '\n';
    return text + '\n';
  }
  text = style.bold(paddedRight("By ecosystem", nameWidth + sizeWidth + 6) + "By tier") + '\n';
  for (std::size_t i = 0; i < std::max(ecosystems.size(), tiers.size()); ++i) {
    std::string line = std::string(nameWidth + sizeWidth + 2, ' ');
    if (i < ecosystems.size()) line = totalCell(ecosystems[i], nameWidth);
    if (i < tiers.size()) line += "    " + totalCell(tiers[i], tierWidth);
    text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
  }
  return text + '\n';
}

std::string sumText(const ScanPicture& picture, const ScanViewOptions& options, bool listsAll) {
  const Parts parts(picture);
  std::string text = openingText(parts, picture, options);
  const auto addPart = [&](const Part& part, std::string_view what) {
    if (part.items == 0) return;
    text +=
        paragraph(fmt::format("{}{} {}: {}{}.", part.size(), parts.goes.items > 0 ? " more" : "", what, part.count(),
                              listsAll ? " with the reason shown" : "; --limit 0 shows each with its reason"),
                  options.terminal);
  };
  addPart(parts.review, "to review");
  addPart(parts.kept, "must stay");
  if (picture.report.volume) {
    const auto& volume = *picture.report.volume;
    text += dimParagraph(fmt::format("The volume has {} free of {}.", ByteFormatting::readable(volume.availableBytes),
                                     ByteFormatting::readable(volume.totalBytes)),
                         options.terminal);
  }
  if (picture.report.partial && parts.unknown.items == 0) {
    text += paragraph("The scan was interrupted; this list is incomplete.", options.terminal);
  }
  return text;
}

}  // namespace tidra
