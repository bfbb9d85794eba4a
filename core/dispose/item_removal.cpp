#include "core/dispose/item_removal.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <random>

#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/tree_removal.h"
#include "core/model/removal_leftover.h"
#include "core/platform/file_system_traits.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"
#include "core/scan/directory_size.h"
#include "core/scan/removal_note.h"

namespace tidra {
namespace {

std::uint64_t randomNumber() {
  std::random_device source;
  return (std::uint64_t{source()} << 32U) | source();
}

/// A folder renamed for deletion.
struct Hidden {
  std::string name;
  std::error_code noteFailure;  // why no note could be written; without it no later run can identify what is left
  bool isInLowerLayer = false;  // of an overlay: it keeps its name
};

/// Best effort: a note without its folder is harmless, and the next scan lists it.
void dropNote(int folder, const std::string& hidden) { static_cast<void>(RemovalNote::remove(folder, hidden)); }

/// Lost TOCTOU race: moves back a folder that is not the one checked.
void requireSame(const HeldEntry& entry, const std::string& hidden) {
  const int folder = entry.folder.descriptor.get();
  const auto moved = entryFacts(folder, hidden.c_str());
  if (moved && isStillSame(folder, moved->identity, entry.facts.identity)) return;
  dropNote(folder, hidden);
  const auto back = moveEntry(folder, hidden, folder, entry.name);
  if (back) throw StrayedError(back, joinedPath(entry.folder.path, hidden));
  throw DisposalError("was replaced by something else just now, which stays in its place");
}

/// Renames the folder to its hidden name. If the file system cannot rename it (lower layer of an overlay), it is
/// emptied in place. A missing note, for lack of space, does not prevent removal.
Hidden hide(const HeldEntry& entry) {
  const int folder = entry.folder.descriptor.get();
  if (RemovalNote::covers(folder, entry.name, entry.facts)) return {entry.name, {}};
  for (;;) {
    const std::string hidden = RemovalLeftover::name(randomNumber());
    const auto noteFailure = RemovalNote::make(folder, hidden, entry.facts, entry.name);
    if (noteFailure == std::errc::file_exists) continue;
    const auto reason = moveEntry(folder, entry.name, folder, hidden);
    if (!reason) {
      requireSame(entry, hidden);
      return {hidden, noteFailure};
    }
    if (!noteFailure) dropNote(folder, hidden);
    if (reason == std::errc::file_exists) continue;
    if (reason == std::errc::cross_device_link) return {entry.name, {}, isOnOverlay(folder)};
    throw DisposalError(reason);
  }
}

std::string obstacleText(const TreeRemoval::Result& result) {
  const std::string obstacle =
      result.obstaclePath.empty() ? "it" : fmt::format("{} in it", escapedForTerminal(result.obstaclePath));
  if (result.meetsOtherVolume) return fmt::format("{} is a mounted file system, which is left alone", obstacle);
  if (result.obstacle == std::errc::directory_not_empty) {
    return fmt::format("{} is being filled again by another program", obstacle);
  }
  return fmt::format("{} could not be removed: {}", obstacle, result.obstacle.message());
}

std::string sentence(const TreeRemoval::Result& result, const std::string& place, std::error_code noteFailure,
                     const std::string& completion) {
  std::string left = fmt::format("what is left lies in {}", escapedForTerminal(place));
  if (noteFailure) {
    left +=
        fmt::format(", which no later run finishes, because no note could be made beside it ({}); remove it yourself",
                    noteFailure.message());
  }
  if (result.cancelled) return fmt::format("was interrupted; {}{}", left, noteFailure ? "" : ", and " + completion);
  return fmt::format("{}; {}", obstacleText(result), left);
}

/// Throws why an item is not removed. One of which nothing was removed has its own name again.
[[noreturn]] void fail(const HeldEntry& entry, const Hidden& hidden, const TreeRemoval::Result& result,
                       const std::string& completion) {
  const int folder = entry.folder.descriptor.get();
  const bool isWhole = !result.changedAnything && !result.cancelled && hidden.name != entry.name;
  if (isWhole && !moveEntry(folder, hidden.name, folder, entry.name)) {
    dropNote(folder, hidden.name);
    throw DisposalError(fmt::format("{}, so it stays in its place", obstacleText(result)));
  }
  const std::string left = joinedPath(entry.folder.path, hidden.name);
  throw PartlyRemovedError(sentence(result, left, hidden.noteFailure, completion), left);
}

}  // namespace

void ItemRemoval::requireWhollyRemovable(const HeldEntry& entry, const Options& options) {
  if (entry.facts.type != EntryType::directory) return;
  TidraDirectorySizeReader::Options measuring;
  measuring.workers = options.workers;
  measuring.shouldCancel = options.shouldCancel;
  measuring.forRemoval = true;
  const auto size = TidraDirectorySizeReader::readAll({{.path = entry.path(), .isTrash = true}}, measuring).front();
  const TidraPathResolver wholePaths{"/", {}};
  if (size.kept) throw DisposalError(size.kept->reason(wholePaths) + ", so it stays");
}

/// Comparing two measurements costs nothing while files are deleted.
std::int64_t ItemRemoval::freedByPart(const std::string& left, std::int64_t freeableBefore,
                                      const Measuring& measuring) {
  constexpr std::chrono::seconds limit{5};
  TidraDirectorySizeReader::Options options;
  options.workers = measuring.workers;
  options.layers = measuring.layers;
  options.limit = limit;
  const auto size = TidraDirectorySizeReader::readAll(
                        {{.path = left, .enterBundles = measuring.isInTrash, .isTrash = measuring.isInTrash}}, options)
                        .front();
  const std::int64_t rest = size.bytes ? signedBytes(size.use.freeableBytes) : freeableBefore;
  return std::max<std::int64_t>(0, freeableBefore - rest);
}

bool ItemRemoval::run(const HeldEntry& entry, const Options& options) {
  const int folder = entry.folder.descriptor.get();
  if (entry.facts.type != EntryType::directory) {
    if (const auto reason = removeFileEntry(folder, entry.name.c_str())) throw DisposalError(reason);
    return false;
  }
  const Hidden hidden = hide(entry);
  const std::string& name = hidden.name;
  const auto result = TreeRemoval::run(
      folder, name, entry.facts.identity,
      {.workers = options.workers, .shouldCancel = options.shouldCancel, .removedEntries = options.removedEntries});
  if (!result.complete) {
    fail(entry, hidden, result,
         options.completion.empty() ? fmt::format("tidra clean {} finishes it", escapedForTerminal(entry.folder.path))
                                    : options.completion);
  }
  const auto kept = RemovalNote::remove(folder, name);
  if (kept && kept != std::errc::no_such_file_or_directory) {
    throw DisposalError(fmt::format("was removed, but the note {} beside it could not be: {}; the next run removes it",
                                    escapedForTerminal(RemovalLeftover::noteName(name)), kept.message()));
  }
  return hidden.isInLowerLayer;
}

}  // namespace tidra
