#include "app/view/snapshot_maker.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "core/base/quantities.h"
#include "core/base/text.h"

namespace tidra {
namespace {

constexpr std::size_t noPart = CombinedUse::noPart;

const std::array<RowClass, unknownActivity + 1>& activityClasses() {
  static const auto classes = [] {
    std::array<RowClass, unknownActivity + 1> made;
    for (std::size_t i = 0; i < made.size(); ++i) {
      const auto activity = static_cast<ProjectActivity>(i);
      const bool isKnown = i != unknownActivity;
      const std::string_view key = isKnown ? rawValue(activity) : "unknown";
      made[i] = {StableID::number("activity " + std::string(key)), SharedText(key),
                 SharedText(isKnown ? legendText(activity) : "Unknown"), std::to_string(i)};
    }
    return made;
  }();
  return classes;
}

/// Whether removing the row frees something that no other row counts.
bool isCounted(ItemMark::Kind kind) { return kind != ItemMark::Kind::kept && kind != ItemMark::Kind::part; }

}  // namespace

SnapshotMaker::SnapshotMaker(const ResultsView& view, const ResultsQuery& query, const Selection& selection)
    : view_(view), query_(query), selection_(selection) {
  for (const std::string_view word : splitNonEmpty(query.filter.text, ' ')) words_.push_back(searchText(word));
  for (std::size_t i = 0; i < view.ecosystems_.size(); ++i) {
    const auto& wanted = query.filter.ecosystems;
    hasEcosystem_.push_back(wanted.empty() || wanted.contains(view.ecosystems_[i].key.string()));
  }
}

bool SnapshotMaker::passes(const Facts& facts) const {
  const ResultsFilter& filter = query_.filter;
  if (facts.freeableBytes < filter.minimumBytes || !hasEcosystem_[facts.ecosystem]) return false;
  if (!filter.tiers.empty() && !filter.tiers.contains(facts.tier)) return false;
  if (!filter.activities.empty() && (facts.activity == unknownActivity ||
                                     !filter.activities.contains(static_cast<ProjectActivity>(facts.activity)))) {
    return false;
  }
  const bool isKept = facts.mark == ItemMark::Kind::kept;
  if (filter.kept != ResultsFilter::Kept::all && isKept != (filter.kept == ResultsFilter::Kept::kept)) return false;
  if (filter.onlyMarked && !selection_.contains(facts.id)) return false;
  const std::string_view text = view_.textOf(facts);
  return std::all_of(words_.begin(), words_.end(),
                     [text](const std::string& word) { return text.find(word) != std::string_view::npos; });
}

std::vector<std::uint32_t> SnapshotMaker::orderedRows() const {
  std::vector<std::uint32_t> ordered;
  if (query_.sort == ResultsSort::name) {
    for (const std::uint32_t row : view_.orderByName()) {
      if (passes(view_.facts_[row])) ordered.push_back(row);
    }
    if (query_.reversed) std::reverse(ordered.begin(), ordered.end());
    return ordered;
  }
  std::vector<std::pair<std::int64_t, std::uint32_t>> keys;  // equal ones stay in the order of the rows
  for (std::uint32_t row = 0; row < view_.facts_.size(); ++row) {
    const Facts& facts = view_.facts_[row];
    if (!passes(facts)) continue;
    const bool byAge = query_.sort == ResultsSort::age;
    const bool isUnknown = byAge && facts.idleSince == ResultsView::unknownDate;
    const std::int64_t key = byAge ? facts.idleSince : -facts.freeableBytes;
    keys.emplace_back(query_.reversed && !isUnknown ? -key : key, row);
  }
  std::sort(keys.begin(), keys.end());
  for (const auto& [key, row] : keys) ordered.push_back(row);
  return ordered;
}

std::size_t SnapshotMaker::classOf(const Facts& facts) const {
  switch (query_.grouping) {
    case ResultsGrouping::project:
      return facts.project;
    case ResultsGrouping::ecosystem:
      return facts.ecosystem;
    case ResultsGrouping::activity:
      return facts.activity;
    case ResultsGrouping::flat:
      break;
  }
  return 0;
}

const RowClass& SnapshotMaker::classAt(std::size_t number) const {
  if (query_.grouping == ResultsGrouping::activity) return activityClasses()[number];
  return query_.grouping == ResultsGrouping::project ? view_.projects_[number] : view_.ecosystems_[number];
}

std::size_t SnapshotMaker::classCount() const {
  if (query_.grouping == ResultsGrouping::activity) return unknownActivity + 1;
  return query_.grouping == ResultsGrouping::project ? view_.projects_.size() : view_.ecosystems_.size();
}

void SnapshotMaker::countIn(ResultsGroup& group, const Facts& facts) const {
  ++group.count;
  if (ItemMark::isSelectable(facts.mark)) ++group.markable;
  if (selection_.contains(facts.id)) ++group.marked;
  if (facts.idleSince == ResultsView::unknownDate) return;
  const TimePoint date{std::chrono::seconds(facts.idleSince)};
  if (!group.lastActivity || *group.lastActivity < date) group.lastActivity = date;
}

void SnapshotMaker::makeGroups(const std::vector<std::uint32_t>& ordered) {
  std::vector<std::size_t> groupOfClass(classCount(), noPart);
  groupOfRow_.assign(view_.facts_.size(), noPart);
  for (const std::uint32_t row : ordered) {
    const Facts& facts = view_.facts_[row];
    const std::size_t number = classOf(facts);
    if (groupOfClass[number] == noPart) {
      groupOfClass[number] = groupClass_.size();
      groupClass_.push_back(number);
      const RowClass& made = classAt(number);
      ResultsGroup& group = snapshot_->groups.emplace_back();
      group.id = made.id;
      group.key = made.key;
      group.name = made.name;
      group.isFolded = query_.folded.contains(made.id);
    }
    groupOfRow_[row] = groupOfClass[number];
    countIn(snapshot_->groups[groupOfRow_[row]], facts);
  }
}

void SnapshotMaker::sumGroups() {
  auto counted = groupOfRow_;
  for (std::size_t row = 0; row < counted.size(); ++row) {
    if (!isCounted(view_.facts_[row].mark)) counted[row] = noPart;
  }
  const auto sums = freeableOfParts(counted, snapshot_->groups.size());
  for (std::size_t i = 0; i < sums.size(); ++i) snapshot_->groups[i].freeableBytes = sums[i];
}

std::vector<std::size_t> SnapshotMaker::orderOfGroups() const {
  const auto& groups = snapshot_->groups;
  std::vector<std::size_t> order(groups.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto sortBy = [&](const auto& precedes) {
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return query_.reversed ? precedes(b, a) : precedes(a, b); });
  };
  switch (query_.sort) {
    case ResultsSort::freed:
      sortBy([&](std::size_t a, std::size_t b) { return groups[a].freeableBytes > groups[b].freeableBytes; });
      break;
    case ResultsSort::age:
      sortBy([&](std::size_t a, std::size_t b) { return groups[a].lastActivity < groups[b].lastActivity; });
      std::stable_partition(order.begin(), order.end(),
                            [&](std::size_t group) { return groups[group].lastActivity.has_value(); });
      break;
    case ResultsSort::name:
      sortBy(
          [&](std::size_t a, std::size_t b) { return classAt(groupClass_[a]).order < classAt(groupClass_[b]).order; });
      break;
  }
  return order;
}

void SnapshotMaker::arrange(const std::vector<std::uint32_t>& ordered) {
  auto& groups = snapshot_->groups;
  const auto order = orderOfGroups();
  std::vector<ResultsGroup> arranged;
  std::vector<std::size_t> next(groups.size());  // of each unordered group, the place of its next item
  std::size_t first = 0;
  for (const std::size_t group : order) {
    next[group] = groups[group].first = first;
    first += groups[group].count;
    arranged.push_back(std::move(groups[group]));
  }
  groups = std::move(arranged);
  snapshot_->items.resize(ordered.size());
  for (const std::uint32_t row : ordered) snapshot_->items[next[groupOfRow_[row]]++] = view_.rows_[row];
}

void SnapshotMaker::addLines() {
  auto& lines = snapshot_->lines;
  const auto addItems = [&](std::size_t group, std::size_t first, std::size_t count) {
    for (std::size_t i = first; i < first + count; ++i) lines.push_back({snapshot_->items[i]->id, group, i});
  };
  if (query_.grouping == ResultsGrouping::flat) return addItems(ResultsLine::none, 0, snapshot_->items.size());
  for (std::size_t i = 0; i < snapshot_->groups.size(); ++i) {
    const ResultsGroup& group = snapshot_->groups[i];
    lines.push_back({group.id, i, ResultsLine::none});
    if (!group.isFolded) addItems(i, group.first, group.count);
  }
}

ResultsTotals SnapshotMaker::totalOf(const std::function<bool(std::size_t)>& isMeant) const {
  ResultsTotals total;
  std::vector<std::size_t> counted(view_.facts_.size(), noPart);
  for (std::size_t row = 0; row < counted.size(); ++row) {
    if (!isMeant(row)) continue;
    ++total.items;
    if (isCounted(view_.facts_[row].mark)) counted[row] = 0;
  }
  total.freeableBytes = freeableOfParts(counted, 1).front();
  return total;
}

void SnapshotMaker::addTotals(const std::vector<std::uint32_t>& ordered) {
  std::vector<bool> isShown(view_.facts_.size());
  for (const std::uint32_t row : ordered) isShown[row] = true;
  snapshot_->all = totalOf([](std::size_t) { return true; });
  snapshot_->shown =
      ordered.size() == isShown.size() ? snapshot_->all : totalOf([&](std::size_t row) { return isShown[row]; });
  if (selection_.empty()) return;
  std::vector<bool> isMarked(view_.facts_.size());
  for (std::size_t row = 0; row < isMarked.size(); ++row) isMarked[row] = selection_.contains(view_.facts_[row].id);
  snapshot_->marked = totalOf([&](std::size_t row) { return isMarked[row]; });
  for (const auto tier : allCases<ArtifactSafetyTier>()) {
    snapshot_->markedByTier[static_cast<std::size_t>(tier)] =
        totalOf([&](std::size_t row) { return isMarked[row] && view_.facts_[row].tier == tier; });
  }
}

std::shared_ptr<const ResultsSnapshot> SnapshotMaker::make() {
  const auto ordered = orderedRows();
  snapshot_->rows = view_.chunks_;
  if (query_.grouping == ResultsGrouping::flat) {
    for (const std::uint32_t row : ordered) snapshot_->items.push_back(view_.rows_[row]);
  } else {
    makeGroups(ordered);
    sumGroups();
    arrange(ordered);
  }
  addLines();
  addTotals(ordered);
  return snapshot_;
}

std::optional<std::size_t> ResultsSnapshot::lineOf(RowID id) const {
  const auto line = std::find_if(lines.begin(), lines.end(), [id](const ResultsLine& each) { return each.id == id; });
  if (line == lines.end()) return std::nullopt;
  return static_cast<std::size_t>(line - lines.begin());
}

std::vector<std::int64_t> SnapshotMaker::freeableOfParts(const std::vector<std::size_t>& partOf,
                                                         std::size_t parts) const {
  std::vector<std::int64_t> sums(parts, 0);
  if (view_.use_) {
    const auto freed = view_.use_->freeableOfParts(partOf, parts);
    std::transform(freed.begin(), freed.end(), sums.begin(), &signedBytes);
    return sums;
  }
  for (std::size_t row = 0; row < partOf.size(); ++row) {
    if (partOf[row] == noPart) continue;
    std::int64_t& sum = sums[partOf[row]];
    sum = saturatedSum(sum, view_.facts_[row].freeableBytes);
  }
  return sums;
}

}  // namespace tidra
