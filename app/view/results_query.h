// Which findings a list of results shows, and in which order.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "app/view/result_row.h"

namespace tidra {

enum class ResultsSort {
  freed,  // most first
  age,    // longest idle first; unknown dates last, also when reversed
  name,   // by path; letters of ASCII in any case
};

enum class ResultsGrouping { project, ecosystem, activity, flat };

struct ResultsFilter {
  enum class Kept { all, removable, kept };

  std::string text = {};                  // all of its words, ASCII letters in any case, in path, label or project
  std::set<std::string> ecosystems = {};  // empty: all, as below
  std::set<ProjectActivity> activities = {};
  std::set<ArtifactSafetyTier> tiers = {};
  Kept kept = Kept::all;
  std::int64_t minimumBytes = 0;  // freeable
  bool onlyMarked = false;

  bool operator==(const ResultsFilter&) const = default;
};

struct ResultsQuery {
  ResultsFilter filter = {};
  ResultsSort sort = ResultsSort::freed;
  bool reversed = false;
  ResultsGrouping grouping = ResultsGrouping::project;
  std::set<RowID> folded = {};  // groups

  bool operator==(const ResultsQuery&) const = default;
};

}  // namespace tidra
