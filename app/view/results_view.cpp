#include "app/view/results_view.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "app/view/snapshot_maker.h"
#include "core/model/ecosystems.h"
#include "core/platform/path_text.h"
#include "core/scan/place_set.h"

namespace tidra {
namespace {

/// Lower case, and in the order of paths: what separates folders comes before every other byte.
char textByte(char c) {
  if (c == '/') return '\x01';
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

void appendText(std::string& texts, std::string_view text) {
  constexpr char afterText = '\0';
  for (const char c : text) texts += textByte(c);
  texts += afterText;
}

std::uint8_t activityNumber(const std::optional<ProjectActivity>& activity) {
  return static_cast<std::uint8_t>(activity ? static_cast<std::size_t>(*activity) : unknownActivity);
}

}  // namespace

std::string searchText(std::string_view word) {
  std::string text;
  for (const char c : word) text += textByte(c);
  return text;
}

ResultsView::Facts ResultsView::factsOf(const ResultRow& row) {
  Facts facts{.id = row.id, .freeableBytes = row.freeableBytes, .idleSince = unknownDate, .textBegin = texts_.size()};
  appendText(texts_, row.path);
  appendText(texts_, row.label.view());
  // A project's folder is part of the path.
  if (row.isInSystemGroup()) appendText(texts_, row.groupName.view());
  facts.textSize = texts_.size() - facts.textBegin;
  if (row.lastActivity) facts.idleSince = row.lastActivity->time_since_epoch().count();
  facts.project = classes_->projects.numberOf(row.group, "project ", [&] { return row.groupName; });
  facts.ecosystem = classes_->ecosystems.numberOf(row.ecosystem, "ecosystem ",
                                                  [&] { return SharedText(ecosystemName(row.ecosystem.view())); });
  facts.activity = activityNumber(row.activity);
  facts.tier = row.tier;
  facts.mark = row.mark.kind;
  return facts;
}

void ResultsView::take(const ResultRow& row) {
  const auto [known, isNew] = indexes_.try_emplace(row.id, static_cast<std::uint32_t>(rows_.size()));
  if (!isNew && rows_[known->second]->path == row.path) {
    rows_[known->second] = &row;
    facts_[known->second] = factsOf(row);
    return;
  }
  const ResultRow* taken = &row;
  if (!isNew) {
    // A mark on one would be a mark on the other.
    auto twin = std::make_shared<std::vector<ResultRow>>(1, row);
    twin->front().mark = {ItemMark::Kind::kept, "has the same identifier as " + rows_[known->second]->path};
    taken = &twin->front();
    chunks_.push_back(std::move(twin));
  }
  rows_.push_back(taken);
  facts_.push_back(factsOf(*taken));
}

void ResultsView::append(SharedRows added) {
  if (rows_.empty()) {
    rows_.reserve(added->size());
    facts_.reserve(added->size());
    indexes_.reserve(added->size());
  }
  for (const ResultRow& row : *added) take(row);
  chunks_.push_back(std::move(added));
}

void ResultsView::add(std::vector<ResultRow> rows) {
  if (rows.empty()) return;
  use_.reset();
  append(std::make_shared<const std::vector<ResultRow>>(std::move(rows)));
}

void ResultsView::replaceAllWith(SharedRows rows, const std::vector<FoundArtifact>* findings) {
  *this = ResultsView();
  const std::size_t count = rows->size();
  append(std::move(rows));
  // Sums refer to findings by their place, which only differs from that of the rows if a path was there twice.
  if (findings != nullptr && findings->size() == count && rows_.size() == count) use_.emplace(*findings);
}

void ResultsView::replaceAll(std::vector<ResultRow> rows, const std::vector<FoundArtifact>* findings) {
  replaceAllWith(std::make_shared<const std::vector<ResultRow>>(std::move(rows)), findings);
}

void ResultsView::drop(const std::set<RowID>& ids) {
  std::vector<std::string_view> places;
  for (const RowID id : ids) {
    if (const ResultRow* row = find(id)) places.push_back(row->path);
  }
  const auto isGone = [&](const ResultRow& row) {
    if (row.mark.kind != ItemMark::Kind::part) return ids.contains(row.id);
    return std::any_of(places.begin(), places.end(),
                       [&](std::string_view place) { return isSameOrInside(row.path, place); });
  };
  std::size_t kept = 0;
  indexes_.clear();
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (isGone(*rows_[i])) {
      dropped_.push_back(rows_[i]);
      continue;
    }
    indexes_.try_emplace(rows_[i]->id, static_cast<std::uint32_t>(kept));
    rows_[kept] = rows_[i];
    facts_[kept++] = facts_[i];
  }
  rows_.resize(kept);
  facts_.resize(kept);
  byName_.clear();
  use_.reset();
}

bool ResultsView::restore(const std::vector<std::string>& places) {
  PlaceSet back;
  for (const std::string& place : places) back.add(place);
  std::set<std::string_view> unknown(places.begin(), places.end());
  const auto isAway = [&](const ResultRow* row) { return !back.covers(row->path); };
  const auto first = std::stable_partition(dropped_.begin(), dropped_.end(), isAway);
  const std::vector<const ResultRow*> rows(first, dropped_.end());
  dropped_.erase(first, dropped_.end());
  for (const ResultRow* row : rows) {
    unknown.erase(row->path);
    take(*row);
  }
  return unknown.empty();
}

const ResultRow* ResultsView::find(RowID id) const {
  const auto place = indexes_.find(id);
  return place == indexes_.end() ? nullptr : rows_[place->second];
}

const std::vector<std::uint32_t>& ResultsView::orderByName() const {
  const auto precedes = [this](std::uint32_t a, std::uint32_t b) { return textOf(facts_[a]) < textOf(facts_[b]); };
  const auto sorted = static_cast<std::ptrdiff_t>(byName_.size());
  byName_.resize(rows_.size());
  std::iota(byName_.begin() + sorted, byName_.end(), static_cast<std::uint32_t>(sorted));
  std::sort(byName_.begin() + sorted, byName_.end(), precedes);
  std::inplace_merge(byName_.begin(), byName_.begin() + sorted, byName_.end(), precedes);
  return byName_;
}

std::shared_ptr<const ResultsSnapshot> ResultsView::snapshot(const ResultsQuery& query,
                                                             const Selection& selection) const {
  return SnapshotMaker(*this, query, selection).make();
}

}  // namespace tidra
