#include "app/state/removal_journal.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "app/state/state_folders.h"
#include "core/base/byte_units.h"
#include "core/base/quantities.h"
#include "core/base/record_fields.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/open_file.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::string_view journalPrefix = "history-";
constexpr std::string_view journalSuffix = ".journal";
constexpr std::size_t mostJournalBytes = 256_MiB;

/// One of these is set.
struct JournalLine {
  std::optional<RemovalRun> run;  // without items and failures
  std::optional<std::string> begun;
  std::optional<std::int64_t> freeableBytes;  // of what was begun
  std::optional<RemovedItem> item;
  std::optional<TidraDeletionFailure> failure;
};

}  // namespace

template <>
constexpr auto fieldsOf<JournalLine> = recordFields(field("run", &JournalLine::run),
                                                    bytesField("begun", &JournalLine::begun),
                                                    field("freeableBytes", &JournalLine::freeableBytes),
                                                    field("item", &JournalLine::item),
                                                    field("failure", &JournalLine::failure));

template <>
struct JsonCodec<JournalLine> : RecordCodec<JournalLine> {};

namespace {

std::string lineOf(const JournalLine& line) { return compactJson(line) + "\n"; }

bool isSize(const std::optional<std::int64_t>& bytes) { return !bytes || *bytes >= 0; }

/// Whether a run may have written the values.
bool isSound(const JournalLine& line) {
  if (line.run && (line.run->freedBytes < 0 || line.run->moreItems < 0 || line.run->moreFailures < 0)) return false;
  const auto& item = line.item;
  return isSize(line.freeableBytes) &&
         (!item || (item->freedBytes >= 0 && isSize(item->bytes) && isSize(item->freeableBytes)));
}

/// Replays the lines of a journal.
class JournalReader {
 public:
  void read(const JournalLine& line) {
    if (line.run) run_ = *line.run;
    if (!run_) return;
    if (line.begun) pending_ = line;
    if (line.item) finish(*line.item);
    if (line.failure) finish(*line.failure);
  }

  std::optional<RemovalRun> result() {
    if (run_ && pending_) settlePending();
    return std::move(run_);
  }

 private:
  void finish(const RemovedItem& item) {
    pending_.reset();
    run_->add(item);
  }
  void finish(const TidraDeletionFailure& failure) {
    pending_.reset();
    run_->add(failure);
  }

  /// The process ended between the beginning of an item and its result. A removal begins with a rename: what was to be
  /// deleted and is still in its place is whole. What was to be moved may be in the store although something is in its
  /// place again, so it counts; an undo looks where it is.
  void settlePending() {
    const std::string path = *pending_->begun;
    if (!path.starts_with('/')) return;
    RemovedItem item{
        {path, run_->method, std::nullopt, std::nullopt, run_->at}, 0, pending_->freeableBytes, std::nullopt};
    item.isPartial = !item.isMoved();
    if (item.isPartial && pathExists(path)) return;
    finish(item);
    finish(TidraDeletionFailure{path, "was being removed when the run was killed"});
  }

  std::optional<RemovalRun> run_;
  std::optional<JournalLine> pending_;  // begun, without a result
};

/// Returns the line; none if no run wrote it.
std::optional<JournalLine> soundLine(std::string_view text, const std::string& path) {
  try {
    auto line = JsonCodec<JournalLine>::decode(parseJson(std::string(text), path), path);
    if (isSound(line)) return line;
  } catch (const DecodingError&) {
    // As for values that no run writes.
  }
  return std::nullopt;
}

/// Reads as much as can be read. A last line without its end is torn; any other that cannot be read is damage.
LeftJournal leftAt(const std::string& path, std::string_view text) {
  LeftJournal left{path, {}};
  JournalReader reader;
  const std::size_t end = text.rfind('\n');
  const std::string_view whole = text.substr(0, end == std::string_view::npos ? 0 : end);
  for (const std::string_view each : splitNonEmpty(whole, '\n')) {
    const auto line = soundLine(each, path);
    if (line) reader.read(*line);
    left.isDamaged = left.isDamaged || !line;
  }
  auto run = reader.result();
  // Killed before its first line was written, so before anything was removed.
  left.isDamaged = left.isDamaged || (!run && !whole.empty());
  if (run) left.run = std::move(*run);
  return left;
}

std::vector<std::string> journalsIn(const std::string& folder) {
  std::vector<std::string> paths;
  const auto descriptor = openDirectory(folder);
  if (!descriptor) return paths;
  DirectoryReader reader;
  reader.start(descriptor->get());
  for (DirectoryEntry entry; reader.next(entry);) {
    if (!entry.name.starts_with(journalPrefix) || !entry.name.ends_with(journalSuffix)) continue;
    paths.push_back(joinedPath(folder, entry.name));
  }
  return paths;
}

}  // namespace

RemovalJournal::RemovalJournal(const std::string& folder, const RemovalRun& run)
    : path_(joinedPath(folder, fmt::format("{}{}{}", journalPrefix, run.id, journalSuffix))), lock_(path_) {
  auto opened = openFile(path_, FileAccess::append);
  if (!opened) throw std::system_error(opened.failure(), path_);
  file_ = std::move(opened->descriptor);
  append(lineOf({.run = run, .begun = {}, .freeableBytes = {}, .item = {}, .failure = {}}));
}

void RemovalJournal::begin(const std::string& path, std::optional<std::int64_t> freeableBytes) {
  append(lineOf({.run = {}, .begun = path, .freeableBytes = freeableBytes, .item = {}, .failure = {}}));
}

void RemovalJournal::add(const RemovedItem& item) {
  append(lineOf({.run = {}, .begun = {}, .freeableBytes = {}, .item = item, .failure = {}}));
}

void RemovalJournal::add(const TidraDeletionFailure& failure) {
  append(lineOf({.run = {}, .begun = {}, .freeableBytes = {}, .item = {}, .failure = failure}));
}

void RemovalJournal::append(const std::string& line) {
  if (file_ && writeAll(file_, line)) file_.reset();
}

std::vector<LeftJournal> RemovalJournal::leftIn(const std::string& folder) {
  std::vector<LeftJournal> left;
  for (const std::string& path : journalsIn(folder)) {
    if (FileLock::isHeld(path)) continue;
    const auto facts = pathFacts(path);
    if (!facts) continue;
    const bool isFile = facts->type == EntryType::regularFile && isOwnState(path);
    const auto text = isFile ? readRegularFile(path, mostJournalBytes) : Outcome<std::string>(std::string());
    if (text) {
      left.push_back(leftAt(path, *text));
      left.back().isDamaged = left.back().isDamaged || !isFile;
    } else if (text.failure() == std::errc::file_too_large) {
      left.push_back({path, {}, true});
    }
  }
  std::stable_sort(left.begin(), left.end(), [](const auto& a, const auto& b) { return a.run.at < b.run.at; });
  return left;
}

}  // namespace tidra
