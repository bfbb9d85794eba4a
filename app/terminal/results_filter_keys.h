// Filters and orders that a key switches through.
#pragma once

#include <string>

#include "app/terminal/ui_state.h"

namespace tidra {

/// All, what can be removed, what is kept, then each activity, longest idle first.
void switchKept(ResultsFilter& filter);
/// All, then each tier.
void switchTier(ResultsFilter& filter);
/// All, then each ecosystem of the results, in the order of their names.
void switchEcosystem(ResultsFilter& filter, const ResultsView& view);
void switchSort(ResultsQuery& query);
void switchGrouping(ResultsQuery& query);

/// "dormant · text \"node\"", for the rule above the list; empty without a filter.
std::string filterText(const ResultsFilter& filter);
/// "by age, reversed".
std::string sortText(const ResultsQuery& query);
/// "by project"; "no groups".
std::string groupingText(ResultsGrouping grouping);

}  // namespace tidra
