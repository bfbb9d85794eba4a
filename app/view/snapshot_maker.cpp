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
    : view_(view), query_(query) {
  for (const std::string_view word : splitNonEmpty(query.filter.text, ' ')) words_.push_back(searchText(word));
  for (std::size_t i = 0; i < view.classes_->ecosystems.size(); ++i) {
    const auto& wanted = query.filter.ecosystems;
    hasEcosystem_.push_back(wanted.empty() || wanted.contains(view.classes_->ecosystems[i].key.string()));
  }
  if (!selection.empty()) isMarked_.resize(view.facts_.size());
  for (const RowID id : selection.ids()) {
    if (const auto row = view.indexes_.find(id); row != view.indexes_.end()) isMarked_[row->second] = true;
  }
}

bool SnapshotMaker::passes(std::uint32_t row) const {
  const Facts& facts = view_.facts_[row];
  const ResultsFilter& filter = query_.filter;
  if (facts.freeableBytes < filter.minimumBytes || !hasEcosystem_[facts.ecosystem]) return false;
  if (!filter.tiers.empty() && !filter.tiers.contains(facts.tier)) return false;
  if (!filter.activities.empty() && (facts.activity == unknownActivity ||
                                     !filter.activities.contains(static_cast<ProjectActivity>(facts.activity)))) {
    return false;
  }
  const bool isKept = facts.mark == ItemMark::Kind::kept;
  if (filter.kept != ResultsFilter::Kept::all && isKept != (filter.kept == ResultsFilter::Kept::kept)) return false;
  if (filter.onlyMarked && !isMarked(row)) return false;
  const std::string_view text = view_.textOf(facts);
  return std::all_of(words_.begin(), words_.end(),
                     [text](const std::string& word) { return text.find(word) != std::string_view::npos; });
}

std::vector<std::uint32_t> SnapshotMaker::orderedRows() const {
  std::vector<std::uint32_t> ordered;
  if (query_.sort == ResultsSort::name) {
    for (const std::uint32_t row : view_.orderByName()) {
      if (passes(row)) ordered.push_back(row);
    }
    if (query_.reversed) std::reverse(ordered.begin(), ordered.end());
    return ordered;
  }
  std::vector<std::pair<std::int64_t, std::uint32_t>> keys;  // equal ones stay in the order of the rows
  keys.reserve(view_.facts_.size());
  for (std::uint32_t row = 0; row < view_.facts_.size(); ++row) {
    if (!passes(row)) continue;
    const Facts& facts = view_.facts_[row];
    const bool byAge = query_.sort == ResultsSort::age;
    const bool isUnknown = byAge && facts.idleSince == ResultsView::unknownDate;
    const std::int64_t key = byAge ? facts.idleSince : -facts.freeableBytes;
    keys.emplace_back(query_.reversed && !isUnknown ? -key : key, row);
  }
  std::sort(keys.begin(), keys.end());
  ordered.reserve(keys.size());
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
  return query_.grouping == ResultsGrouping::project ? view_.classes_->projects[number]
                                                     : view_.classes_->ecosystems[number];
}

/// Among the classes by name.
std::size_t SnapshotMaker::rankOf(std::size_t number) const {
  if (query_.grouping == ResultsGrouping::activity) return number;
  const ResultsView::Classes& classes = *view_.classes_;
  return (query_.grouping == ResultsGrouping::project ? classes.projects : classes.ecosystems).ranks()[number];
}

std::size_t SnapshotMaker::classCount() const {
  if (query_.grouping == ResultsGrouping::activity) return unknownActivity + 1;
  return query_.grouping == ResultsGrouping::project ? view_.classes_->projects.size()
                                                     : view_.classes_->ecosystems.size();
}

void SnapshotMaker::countIn(ResultsGroup& group, std::uint32_t row) const {
  const Facts& facts = view_.facts_[row];
  ++group.count;
  if (ItemMark::isSelectable(facts.mark)) ++group.markable;
  if (isMarked(row)) ++group.marked;
  if (facts.idleSince == ResultsView::unknownDate) return;
  const TimePoint date{std::chrono::seconds(facts.idleSince)};
  if (!group.lastActivity || *group.lastActivity < date) group.lastActivity = date;
}

void SnapshotMaker::makeGroups(const std::vector<std::uint32_t>& ordered) {
  std::vector<std::size_t> groupOfClass(classCount(), noPart);
  groupOfRow_.assign(view_.facts_.size(), noPart);
  snapshot_->groups.reserve(std::min(groupOfClass.size(), ordered.size()));
  for (const std::uint32_t row : ordered) {
    const std::size_t number = classOf(view_.facts_[row]);
    if (groupOfClass[number] == noPart) {
      groupOfClass[number] = groupClass_.size();
      groupClass_.push_back(number);
      const RowClass& made = classAt(number);
      ResultsGroup& group = snapshot_->groups.emplace_back();
      group.id = made.id;
      group.key = LentText(made.key);
      group.name = LentText(made.name);
      group.isFolded = query_.folded.contains(made.id);
    }
    groupOfRow_[row] = groupOfClass[number];
    countIn(snapshot_->groups[groupOfRow_[row]], row);
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
      sortBy([&](std::size_t a, std::size_t b) { return rankOf(groupClass_[a]) < rankOf(groupClass_[b]); });
      break;
  }
  return order;
}

void SnapshotMaker::arrange(const std::vector<std::uint32_t>& ordered) {
  auto& groups = snapshot_->groups;
  const auto order = orderOfGroups();
  std::vector<ResultsGroup> arranged;
  arranged.reserve(groups.size());
  std::vector<std::size_t> next(groups.size());  // of each unordered group, the place of its next item
  std::size_t first = 0;
  for (const std::size_t group : order) {
    next[group] = groups[group].first = first;
    first += groups[group].count;
    arranged.push_back(groups[group]);
  }
  groups = std::move(arranged);
  snapshot_->items.resize(ordered.size());
  for (const std::uint32_t row : ordered) snapshot_->items[next[groupOfRow_[row]]++] = view_.rows_[row];
}

void SnapshotMaker::addLines() {
  auto& lines = snapshot_->lines;
  lines.reserve(snapshot_->items.size() + snapshot_->groups.size());
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

std::vector<ResultsTotals> SnapshotMaker::totalsOf(std::vector<std::size_t> partOf, std::size_t parts) const {
  std::vector<ResultsTotals> totals(parts);
  for (std::size_t row = 0; row < partOf.size(); ++row) {
    if (partOf[row] == noPart) continue;
    ++totals[partOf[row]].items;
    if (!isCounted(view_.facts_[row].mark)) partOf[row] = noPart;
  }
  const auto sums = freeableOfParts(partOf, parts);
  for (std::size_t part = 0; part < parts; ++part) totals[part].freeableBytes = sums[part];
  return totals;
}

void SnapshotMaker::addTotals(const std::vector<std::uint32_t>& ordered) {
  const std::size_t rows = view_.facts_.size();
  snapshot_->all = totalsOf(std::vector<std::size_t>(rows, 0), 1).front();
  snapshot_->shown = snapshot_->all;
  if (ordered.size() < rows) {
    std::vector<std::size_t> partOf(rows, noPart);
    for (const std::uint32_t row : ordered) partOf[row] = 0;
    snapshot_->shown = totalsOf(std::move(partOf), 1).front();
  }
  if (isMarked_.empty()) return;
  std::vector<std::size_t> marked(rows, noPart);
  std::vector<std::size_t> tierOf(rows, noPart);
  for (std::size_t row = 0; row < rows; ++row) {
    if (!isMarked_[row]) continue;
    marked[row] = 0;
    tierOf[row] = static_cast<std::size_t>(view_.facts_[row].tier);
  }
  snapshot_->marked = totalsOf(std::move(marked), 1).front();
  auto& byTier = snapshot_->markedByTier;
  const auto totals = totalsOf(std::move(tierOf), byTier.size());
  std::copy(totals.begin(), totals.end(), byTier.begin());
}

std::shared_ptr<const ResultsSnapshot> SnapshotMaker::make() {
  const auto ordered = orderedRows();
  snapshot_->rows = view_.chunks_;
  snapshot_->classes = view_.classes_;
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
