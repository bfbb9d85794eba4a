// Which entries of a store a removal of the history moved there.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/removal_recorder.h"
#include "cli/removal_runs.h"
#include "cli/stored_entries.h"
#include "core/base/errors.h"

namespace tidra {
namespace {

/// An item whose run was killed has no destination: then the newest entry of its place since.
bool isEntryOf(const RemovedItem& item, const StoredEntry& entry) {
  if (entry.originalPath != item.path) return false;
  return item.destination ? entry.path == *item.destination : entry.date >= item.at;
}

std::vector<std::size_t> entriesOf(const RemovalRun& run, const std::vector<StoredEntry>& entries,
                                   DisposalMethod method) {
  std::vector<std::size_t> found;
  for (const RemovedItem& item : run.items) {
    if (item.method != method || item.restoredAt) continue;
    const auto entry =
        std::find_if(entries.begin(), entries.end(), [&](const StoredEntry& each) { return isEntryOf(item, each); });
    if (entry != entries.end()) found.push_back(static_cast<std::size_t>(entry - entries.begin()));
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

}  // namespace

void addRemovalChoice(CLI::App& command, RemovalChoice& choice) {
  command.add_flag("--last", choice.last, "What the last removal moved there");
  command.add_option("--removal", choice.number, "What another removal moved there, as tidra history counts them")
      ->type_name("NUMBER");
}

std::vector<std::size_t> entriesOfRemoval(const RemovalChoice& choice, const std::vector<StoredEntry>& entries,
                                          DisposalMethod method, const StoreWords& words,
                                          const TidraPathResolver& resolver) {
  if (choice.last && choice.number) throw InputError("--last and --removal cannot be given together.");
  const auto runs = removalHistory(resolver).load();
  const std::size_t first = choice.number ? runNumbered(*choice.number, runs) : 0;
  const std::size_t end = choice.number ? first + 1 : runs.size();
  for (std::size_t i = first; i < end; ++i) {
    const auto found = entriesOf(runs[i], entries, method);
    if (found.empty()) continue;
    writeNote(fmt::format("Removal {}, by tidra {} at {}.", i + 1, rawValue(runs[i].command), localMinute(runs[i].at)));
    return found;
  }
  throw InputError(choice.number ? fmt::format("Nothing of removal {} is {}.", *choice.number, words.place)
                                 : fmt::format("Nothing that a removal of the history moved is {}; {} shows what is.",
                                               words.place, words.list));
}

}  // namespace tidra
