// What commands on the trash and the quarantine share: naming entries, acting on each of them, showing dates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/view/stored_removals.h"
#include "cli/program.h"
#include "cli/terminal.h"
#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/model/disposal.h"
#include "core/platform/path_resolver.h"

namespace CLI {
class App;
}

namespace tidra {

class JsonObjectWriter;

/// Which store, for messages.
struct StoreWords {
  std::string place;  // "in the trash"
  std::string list;   // "tidra trash list"
};
extern const StoreWords trashWords;
extern const StoreWords quarantineWords;

/// Returns the index of each named entry, without duplicates, in the order of the names. A name is where an entry came
/// from, where it lies, its name in the store, or the last component of its original path. Throws InputError for a name
/// of no entry or of several.
std::vector<std::size_t> entriesNamed(const std::vector<std::string>& names, const std::vector<StoredEntry>& entries,
                                      const StoreWords& words, const TidraPathResolver& resolver);

/// Returns the index of each entry that the newest removal moved there by `method` and that is still there. A note
/// names each other entry in the place of one. Throws PreferencesError.
std::vector<std::size_t> entriesOfLastRemoval(const std::vector<StoredEntry>& entries, DisposalMethod method,
                                              const TidraPathResolver& resolver);

/// What a purge deleted, in its JSON.
struct PurgedEntry {
  std::string path;                         // in the store
  std::optional<std::string> originalPath;  // as far as it is known
};

template <>
struct JsonCodec<PurgedEntry> {
  static void write(JsonWriter& out, const PurgedEntry& entry);
};

/// One entry to act on.
struct EntryAction {
  std::string path;           // of the entry
  std::string shownAs;        // in the line that reports it
  std::function<void()> act;  // throws the reason why it failed
};

struct [[nodiscard]] EntryResults {
  std::vector<std::size_t> done;  // indices of the actions that succeeded
  std::vector<TidraDeletionFailure> failures;
  int status = 0;  // exit status
};

enum class Reporting { lines, total, json };

/// Runs each action until an interruption, and reports failures and the results: a line for each, nothing where the
/// caller prints a total, or one JSON object with the paths under the first word of `past` ("restored", "purged from
/// quarantine"), the failures and, first, what `more` adds. Requires a live InterruptGuard.
EntryResults actOnEach(const std::vector<EntryAction>& actions, const std::string& past, Reporting reporting,
                       const std::string& home, const Program& program,
                       const std::function<void(JsonObjectWriter&)>& more = {});

/// A subcommand on a store.
struct SubcommandWords {
  std::string name;
  std::string alias;  // empty for none
  std::string what;   // it does, for its help
};

/// Adds a subcommand that makes `run` the program's command.
CLI::App* addStoreSubcommand(CLI::App& command, const SubcommandWords& words, Program& program,
                             std::function<int()> run);

/// A size as in a scan's list; a dash for none.
std::string sizeCell(const std::optional<std::int64_t>& bytes);

/// "… and 3 more" as a line; empty for none.
std::string moreText(std::uint64_t more, const TerminalFacts& terminal);

/// Writes a note each, unless notes are silenced.
void writeNotes(const std::vector<std::string>& notes);

/// "2026-03-14 11:15" and "2026-03-14", in local time.
std::string localMinute(TimePoint time);
std::string localDay(TimePoint time);

}  // namespace tidra
