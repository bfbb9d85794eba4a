#include "app/terminal/results_filter_keys.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "core/base/text.h"
#include "core/model/ecosystems.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {
namespace {

/// The value behind the present one of a cycle.
template <class Value, std::size_t Count>
Value nextOf(const std::array<Value, Count>& cycle, const Value& present) {
  const auto found = std::find(cycle.begin(), cycle.end(), present);
  return found == cycle.end() || std::next(found) == cycle.end() ? cycle.front() : *std::next(found);
}

}  // namespace

void switchKept(ResultsFilter& filter) {
  using Kept = ResultsFilter::Kept;
  constexpr std::array longestIdleFirst{ProjectActivity::dormant, ProjectActivity::inactive, ProjectActivity::recent,
                                        ProjectActivity::active};
  if (!filter.activities.empty()) {
    const ProjectActivity present = *filter.activities.begin();
    filter.activities.clear();
    if (present != longestIdleFirst.back()) filter.activities = {nextOf(longestIdleFirst, present)};
  } else if (filter.kept == Kept::kept) {
    filter.kept = Kept::all;
    filter.activities = {longestIdleFirst.front()};
  } else {
    filter.kept = filter.kept == Kept::all ? Kept::removable : Kept::kept;
  }
}

void switchTier(ResultsFilter& filter) {
  using Tier = ArtifactSafetyTier;
  if (filter.tiers.empty()) {
    filter.tiers = {Tier::safe};
  } else {
    const Tier present = *filter.tiers.begin();
    filter.tiers.clear();
    if (present != Tier::warning) filter.tiers = {present == Tier::safe ? Tier::caution : Tier::warning};
  }
}

void switchEcosystem(ResultsFilter& filter, const ResultsView& view) {
  std::set<std::string> known;
  std::string_view former;
  for (std::size_t i = 0; i < view.size(); ++i) {
    const std::string_view name = view.row(i).ecosystem.view();
    if (i == 0 || name != former) known.insert(std::string(name));
    former = name;
  }
  const auto next = filter.ecosystems.empty() ? known.begin() : known.upper_bound(*filter.ecosystems.begin());
  filter.ecosystems.clear();
  if (next != known.end()) filter.ecosystems = {*next};
}

void switchSort(ResultsQuery& query) {
  query.sort = nextOf(std::array{ResultsSort::freed, ResultsSort::age, ResultsSort::name}, query.sort);
}

void switchGrouping(ResultsQuery& query) {
  query.grouping = nextOf(std::array{ResultsGrouping::project, ResultsGrouping::ecosystem, ResultsGrouping::activity,
                                     ResultsGrouping::flat},
                          query.grouping);
}

std::string filterText(const ResultsFilter& filter) {
  std::vector<std::string> parts;
  if (filter.kept == ResultsFilter::Kept::removable) parts.emplace_back("can be removed");
  if (filter.kept == ResultsFilter::Kept::kept) parts.emplace_back("kept");
  for (const ProjectActivity activity : filter.activities) parts.emplace_back(rawValue(activity));
  for (const ArtifactSafetyTier tier : filter.tiers) parts.push_back(asciiLowered(displayTitle(tier)));
  for (const std::string& ecosystem : filter.ecosystems) parts.push_back(ecosystem);
  if (!filter.text.empty()) parts.push_back("\"" + filter.text + "\"");
  return parts.empty() ? "" : "only " + joined(parts, " · ");
}

std::string sortText(const ResultsQuery& query) {
  const char* by = query.sort == ResultsSort::freed ? "by what is freed"
                   : query.sort == ResultsSort::age ? "by age"
                                                    : "by name";
  return std::string(by) + (query.reversed ? ", reversed" : "");
}

std::string groupingText(ResultsGrouping grouping) {
  switch (grouping) {
    case ResultsGrouping::project:
      return "by project";
    case ResultsGrouping::ecosystem:
      return "by ecosystem";
    case ResultsGrouping::activity:
      return "by activity";
    case ResultsGrouping::flat:
      return "no groups";
  }
  return "";
}

}  // namespace tidra
