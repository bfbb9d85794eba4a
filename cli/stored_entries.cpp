#include "cli/stored_entries.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <set>

#include "cli/cleanup_view.h"
#include "cli/interrupt.h"
#include "cli/removal_recorder.h"
#include "cli/scan_options.h"
#include "core/base/errors.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/path_text.h"

namespace tidra {

const StoreWords trashWords{"in the trash", "tidra trash list"};
const StoreWords quarantineWords{"in quarantine", "tidra quarantine list"};

namespace {

using Matches = std::vector<std::size_t>;

template <class Matching>
Matches matching(const std::vector<StoredEntry>& entries, Matching matches) {
  Matches found;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (matches(entries[i])) found.push_back(i);
  }
  return found;
}

/// The most specific kind of name that matches wins.
Matches entriesCalled(const std::string& name, const std::string& path, const std::vector<StoredEntry>& entries) {
  Matches found = matching(entries, [&](const StoredEntry& entry) { return entry.path == path; });
  if (found.empty()) {
    found = matching(entries, [&](const StoredEntry& entry) { return entry.originalPath == path; });
  }
  if (found.empty()) {
    found =
        matching(entries, [&](const StoredEntry& entry) { return entry.name == name || shown(entry.name) == name; });
  }
  if (!found.empty()) return found;
  return matching(entries, [&](const StoredEntry& entry) { return lastPathComponent(entry.originalPath) == name; });
}

std::string notThere(const std::string& name, const std::string& path, const std::vector<StoredEntry>& entries,
                     const StoreWords& words, const TidraPathResolver& resolver) {
  for (const StoredEntry& entry : entries) {
    if (entry.originalPath.empty() || !isSameOrInside(path, entry.originalPath)) continue;
    const std::string whole = shown(resolver.displayPath(entry.originalPath));
    return fmt::format("'{}' lies in {}, which is {} as a whole; name {}.", shown(name), whole, words.place, whole);
  }
  return fmt::format("'{}' is not {}; {} shows what is.", shown(name), words.place, words.list);
}

/// Lists the original paths of the entries; if two of these are equal or one is unknown, the paths in the store.
std::string ambiguous(const std::string& name, const Matches& found, const std::vector<StoredEntry>& entries,
                      const StoreWords& words, const TidraPathResolver& resolver) {
  std::set<std::string> originals;
  for (const std::size_t i : found) originals.insert(entries[i].originalPath);
  const bool areDistinct = originals.size() == found.size() && !originals.contains("");
  constexpr std::size_t most = 5;
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < std::min(found.size(), most); ++i) {
    const StoredEntry& entry = entries[found[i]];
    paths.push_back(shown(resolver.displayPath(areDistinct ? entry.originalPath : entry.path)));
  }
  if (found.size() > most) paths.push_back(fmt::format("and {} more", found.size() - most));
  return fmt::format("'{}' is {} {} times; name one by its path: {}.", shown(name), words.place, found.size(),
                     joined(paths, ", "));
}

std::string localText(TimePoint time, const char* format) {
  return fmt::format(fmt::runtime(format), fmt::localtime(std::chrono::system_clock::to_time_t(time)));
}

}  // namespace

std::vector<std::size_t> entriesNamed(const std::vector<std::string>& names, const std::vector<StoredEntry>& entries,
                                      const StoreWords& words, const TidraPathResolver& resolver) {
  std::vector<std::size_t> result;
  for (const std::string& name : names) {
    const std::string path = absolutePath(name, resolver);
    const Matches found = entriesCalled(name, path, entries);
    if (found.empty()) throw InputError(notThere(name, path, entries, words, resolver));
    if (found.size() > 1) throw InputError(ambiguous(name, found, entries, words, resolver));
    if (std::find(result.begin(), result.end(), found[0]) == result.end()) result.push_back(found[0]);
  }
  return result;
}

std::vector<std::size_t> entriesOfLastRemoval(const std::vector<StoredEntry>& entries, DisposalMethod method,
                                              const TidraPathResolver& resolver) {
  std::vector<std::string> notes;
  auto found = entriesOfLastRemoval(entries, method, removalHistory(resolver).load(), resolver, notes);
  writeNotes(notes);
  return found;
}

void JsonCodec<PurgedEntry>::write(JsonWriter& out, const PurgedEntry& entry) {
  JsonObjectWriter object(out);
  if (entry.originalPath) object.putBytes("originalPath", *entry.originalPath);
  object.putBytes("path", entry.path).close();
}

CLI::App* addStoreSubcommand(CLI::App& command, const SubcommandWords& words, Program& program,
                             std::function<int()> run) {
  CLI::App* subcommand = command.add_subcommand(words.name, words.what);
  if (!words.alias.empty()) subcommand->alias(words.alias);
  subcommand->callback([&program, run = std::move(run)] { program.command = run; });
  return subcommand;
}

EntryResults actOnEach(const std::vector<EntryAction>& actions, const std::string& past, Reporting reporting,
                       const std::string& home, const Program& program,
                       const std::function<void(JsonObjectWriter&)>& more) {
  EntryResults results;
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < actions.size() && !InterruptGuard::requested(); ++i) {
    const EntryAction& action = actions[i];
    try {
      action.act();
      results.done.push_back(i);
      paths.push_back(action.path);
      if (reporting == Reporting::lines) {
        writeOut(fmt::format("{} {} {}.\n", shown(action.shownAs), program.options.dryRun ? "would be" : "is", past));
      }
    } catch (const std::exception& error) {
      results.failures.push_back({action.path, error.what()});
    }
  }
  if (reporting == Reporting::json) {
    const auto fill = [&](JsonObjectWriter& object) {
      if (more) more(object);
      object.put("failures", results.failures).putByteList(past.substr(0, past.find(' ')), paths);
    };
    writeOut(indentedJson(compactObject(fill)) + "\n");
  }
  writeFailures(results.failures, home);
  results.status = InterruptGuard::requested() ? ExitStatus::interrupted
                   : results.failures.empty()  ? ExitStatus::done
                                               : ExitStatus::someFailed;
  return results;
}

std::string sizeCell(const std::optional<std::int64_t>& bytes) {
  return bytes ? ByteFormatting::readable(*bytes) : std::string(glyphs().dash);
}

std::string moreText(std::uint64_t more, const TerminalFacts& terminal) {
  return more == 0 ? "" : paragraph(fmt::format("{} and {} more", glyphs().ellipsis, more), terminal);
}

void writeNotes(const std::vector<std::string>& notes) {
  for (const std::string& note : notes) writeNote(note);
}

std::string localMinute(TimePoint time) { return localText(time, "{:%Y-%m-%d %H:%M}"); }

std::string localDay(TimePoint time) { return localText(time, "{:%Y-%m-%d}"); }

}  // namespace tidra
