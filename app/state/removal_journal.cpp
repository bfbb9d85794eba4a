#include "app/state/removal_journal.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>

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
  std::optional<RemovedItem> item;
  std::optional<TidraDeletionFailure> failure;
};

}  // namespace

template <>
constexpr auto fieldsOf<JournalLine> = recordFields(field("run", &JournalLine::run),
                                                    bytesField("begun", &JournalLine::begun),
                                                    field("item", &JournalLine::item),
                                                    field("failure", &JournalLine::failure));

template <>
struct JsonCodec<JournalLine> : RecordCodec<JournalLine> {};

namespace {

std::string lineOf(const JournalLine& line) { return compactJson(line) + "\n"; }

/// Replays the lines of a journal.
class JournalReader {
 public:
  void read(const JournalLine& line) {
    if (line.run) run_ = *line.run;
    if (!run_) return;
    if (line.begun) pending_ = line.begun;
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
    const std::string path = *pending_;
    if (!path.starts_with('/')) return;
    RemovedItem item{{path, run_->method, std::nullopt, std::nullopt, run_->at}, 0, std::nullopt, std::nullopt};
    item.isPartial = !item.isMoved();
    if (item.isPartial && pathExists(path)) return;
    finish(item);
    finish(TidraDeletionFailure{path, "was being removed when the run was killed"});
  }

  std::optional<RemovalRun> run_;
  std::optional<std::string> pending_;  // begun, without a result
};

/// Returns none if the text holds no run. A torn or foreign line is skipped.
std::optional<RemovalRun> runIn(std::string_view text, const std::string& path) {
  JournalReader reader;
  for (const std::string_view line : splitNonEmpty(text, '\n')) {
    try {
      reader.read(JsonCodec<JournalLine>::decode(parseJson(std::string(line), path), path));
    } catch (const DecodingError&) {
      continue;
    }
  }
  return reader.result();
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
  append(lineOf({.run = run, .begun = {}, .item = {}, .failure = {}}));
}

void RemovalJournal::begin(const std::string& path) {
  append(lineOf({.run = {}, .begun = path, .item = {}, .failure = {}}));
}

void RemovalJournal::add(const RemovedItem& item) {
  append(lineOf({.run = {}, .begun = {}, .item = item, .failure = {}}));
}

void RemovalJournal::add(const TidraDeletionFailure& failure) {
  append(lineOf({.run = {}, .begun = {}, .item = {}, .failure = failure}));
}

void RemovalJournal::append(const std::string& line) {
  if (file_ && writeAll(file_, line)) file_.reset();
}

std::vector<RemovalJournal::Left> RemovalJournal::leftIn(const std::string& folder) {
  std::vector<Left> left;
  for (const std::string& path : journalsIn(folder)) {
    if (FileLock::isHeld(path)) continue;
    const auto text = readRegularFile(path, mostJournalBytes);
    if (!text) continue;
    // Killed before its first line was written, so before anything was removed.
    const bool isUnbegun = text->find('\n') == std::string::npos;
    auto run = runIn(*text, path);
    if (run || isUnbegun) left.push_back({path, run ? std::move(*run) : RemovalRun{}});
  }
  std::stable_sort(left.begin(), left.end(), [](const Left& a, const Left& b) { return a.run.at < b.run.at; });
  return left;
}

}  // namespace tidra
