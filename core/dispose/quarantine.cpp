#include "core/dispose/quarantine.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>

#include "core/base/byte_units.h"
#include "core/base/quantities.h"
#include "core/base/record_fields.h"
#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/item_removal.h"
#include "core/dispose/store_records.h"
#include "core/dispose/way_back.h"
#include "core/model/removal_leftover.h"
#include "core/platform/files.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"
#include "core/scan/directory_size.h"
#include "core/scan/removal_note.h"

namespace tidra {
namespace {

constexpr const char* quarantineName = "the quarantine folder";
constexpr std::size_t largestManifest = 1_MiB;
constexpr StoreRecords manifests{.suffix = StoreNames::manifestSuffix,
                                 .name = "its manifest",
                                 .place = "in quarantine",
                                 .restoreCommand = "tidra quarantine restore"};
constexpr const char* nextPurge = "the next tidra quarantine purge finishes it";

/// Formats "20260314T101500" in UTC.
std::string stamp(TimePoint date) {
  return fmt::format("{:%Y%m%dT%H%M%S}", fmt::gmtime(std::chrono::system_clock::to_time_t(date)));
}

std::int64_t freeableByFolder(const std::string& path) {
  const auto size =
      TidraDirectorySizeReader::readAll({{.path = path, .enterBundles = true, .isTrash = true}}, {}).front();
  return signedBytes(size.use.freeableBytes);
}

QuarantineDisposer::Manifest readManifest(const StoreFolder& store, const std::string& name) {
  const auto text = readFileEntry(store.descriptor(), name.c_str(), largestManifest);
  if (!text) throw std::system_error(text.failure());
  return JsonCodec<QuarantineDisposer::Manifest>::decode(parseJson(*text, "the manifest"), "the manifest");
}

}  // namespace

QuarantineConfig QuarantineConfig::makeDefault(const TidraPathResolver& resolver) {
  const auto given = resolver.environment.find("TIDRA_QUARANTINE_DIR");
  if (given == resolver.environment.end() || given->second.empty()) {
    return {.directory = joinedPath(resolver.home, ".tidra/quarantine")};
  }
  std::string directory = given->second;
  if (directory == "~" || directory.starts_with("~/")) directory = resolver.home + directory.substr(1);
  if (!directory.starts_with('/')) {
    throw InputError(fmt::format("TIDRA_QUARANTINE_DIR is '{}', which is not an absolute path; set one.",
                                 escapedForTerminal(given->second)));
  }
  return {.directory = standardizedPath(directory)};
}

std::string QuarantineDisposer::Entry::name() const { return std::string(lastPathComponent(url)); }

QuarantineDisposer::QuarantineDisposer(QuarantineConfig config, TidraPathResolver resolver, std::string host,
                                       std::vector<MountPoint> mounts)
    : config_(std::move(config)), resolver_(std::move(resolver)), host_(std::move(host)), mounts_(std::move(mounts)) {}

std::string QuarantineDisposer::rootFor(const HeldEntry& entry) const {
  const std::string parent = parentPath(config_.directory);
  const std::string reference = followedFacts(parent) ? parent : resolver_.home;
  if (!followedFacts(reference) || !Volumes::differ(entry.folder, reference)) return config_.directory;
  return joinedPath(Volumes::topOf(entry.folder), volumeFolder);
}

void QuarantineDisposer::check(const HeldEntry& entry) const {
  const std::string root = rootFor(entry);
  requireStoreUsable(root, false, quarantineName);
  requireStorable(entry, root, mounts_);
}

void QuarantineDisposer::checkFolder() const { requireStoreUsable(config_.directory, false, quarantineName); }

QuarantineDisposer::Quarantined QuarantineDisposer::quarantine(const HeldEntry& entry, const std::string& originalPath,
                                                               std::optional<std::int64_t> bytes, TimePoint date,
                                                               std::optional<std::int64_t> freeable) {
  const auto store = StoreFolder::open(rootFor(entry), false, quarantineName);
  if (store.isNewAndOpen) openStores_.insert(store.folder.path);
  const std::string manifest = prettyJson(Manifest{.originalPath = originalPath,
                                                   .quarantinedAt = date,
                                                   .bytes = bytes,
                                                   .freeableBytes = freeable,
                                                   .host = host_}) +
                               "\n";
  return {store.pathOf(manifests.moveIn(entry, store, store, stamp(date) + "-", manifest, nextNumbers_)), bytes};
}

void QuarantineDisposer::readRoot(Root& root, std::vector<std::string>& notes) const {
  const auto names = root.store.sortedNames();
  std::vector<std::string> unclaimed;
  for (const std::string& name : names) {
    if (RemovalLeftover::isEither(name)) {
      const bool isOurs = RemovalNote::claims(root.store.descriptor(), name);
      if (isOurs) root.leftovers.push_back(name);
      if (!isOurs && RemovalLeftover::is(name)) unclaimed.push_back(escapedForTerminal(root.store.pathOf(name)));
    }
    // A name with its own manifest is an item, even if it looks like a manifest.
    const auto item = manifests.itemOf(name);
    if (!item || std::binary_search(names.begin(), names.end(), manifests.fileOf(name))) continue;
    try {
      Manifest manifest = readManifest(root.store, name);
      const bool hasItem = static_cast<bool>(entryFacts(root.store.descriptor(), item->c_str()));
      root.found.push_back({{root.store.pathOf(*item), std::move(manifest)}, hasItem});
    } catch (const std::exception& error) {
      notes.push_back(fmt::format("{} cannot be read: {}.", escapedForTerminal(root.store.pathOf(name)),
                                  escapedForTerminal(error.what())));
    }
  }
  if (!unclaimed.empty()) notes.push_back(RemovalLeftover::unclaimedText(unclaimed));
}

std::vector<QuarantineDisposer::Root> QuarantineDisposer::readRoots(std::vector<std::string>& notes) const {
  std::vector<Root> roots;
  std::vector<std::string> folders = Volumes::ownFoldersNamed(volumeFolder, mounts_);
  std::erase(folders, config_.directory);
  if (pathFacts(config_.directory)) {
    roots.push_back({StoreFolder::openExisting(config_.directory, false, quarantineName), {}, {}});
  }
  for (const std::string& folder : folders) {
    try {
      roots.push_back({StoreFolder::openExisting(folder, false, quarantineName), {}, {}});
    } catch (const std::exception& error) {
      notes.push_back(fmt::format("{} is skipped: {}.", escapedForTerminal(folder), error.what()));
    }
  }
  for (Root& root : roots) readRoot(root, notes);
  return roots;
}

QuarantineDisposer::Listing QuarantineDisposer::list() const {
  Listing listing;
  std::vector<std::string> unread;
  for (Root& root : readRoots(unread)) {
    // Manifests, read in name order, sort differently from their items.
    std::sort(root.found.begin(), root.found.end(),
              [](const Found& a, const Found& b) { return a.entry.url < b.entry.url; });
    for (Found& found : root.found) {
      if (found.hasItem) {
        listing.entries.push_back(std::move(found.entry));
      } else {
        listing.notes.push_back(fmt::format("{} has a manifest but is missing.", escapedForTerminal(found.entry.url)));
      }
    }
  }
  std::move(unread.begin(), unread.end(), std::back_inserter(listing.notes));
  return listing;
}

void QuarantineDisposer::remove(const Entry& entry, const std::function<bool()>& shouldCancel) const {
  const auto store = StoreFolder::openExisting(parentPath(entry.url), false, quarantineName);
  try {
    const HeldEntry item = holdEntry(entry.url);
    // What lies in it and belongs to others moves in and back with it, as long as it is whole.
    ItemRemoval::requireWhollyRemovable(item, {.shouldCancel = shouldCancel});
    ItemRemoval::run(item, {.shouldCancel = shouldCancel, .completion = nextPurge});
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::no_such_file_or_directory) throw;
  }
  manifests.remove(store, entry.name(), "was deleted");
}

QuarantineDisposer::Purged QuarantineDisposer::purge(std::optional<std::int64_t> olderThanDays, TimePoint now,
                                                     const std::function<bool()>& shouldCancel) const {
  return purgeBefore(now - retention(olderThanDays.value_or(config_.retentionDays)), shouldCancel);
}

QuarantineDisposer::Purged QuarantineDisposer::purgeBefore(TimePoint cutOff,
                                                           const std::function<bool()>& shouldCancel) const {
  return purge(cutOff, Extent::everything, shouldCancel);
}

QuarantineDisposer::Purged QuarantineDisposer::clearRemains(TimePoint cutOff, bool dryRun,
                                                            const std::function<bool()>& shouldCancel) const {
  return purge(cutOff, dryRun ? Extent::dryRemains : Extent::remains, shouldCancel);
}

QuarantineDisposer::Purged QuarantineDisposer::purge(TimePoint cutOff, Extent extent,
                                                     const std::function<bool()>& shouldCancel) const {
  Purged purged;
  const auto isCancelled = [&] { return shouldCancel && shouldCancel(); };
  const auto attempt = [&](const std::string& path, std::int64_t freed, const auto& removal) {
    try {
      if (extent != Extent::dryRemains) removal();
      purged.paths.push_back(path);
      purged.freedEach.push_back(freed);
    } catch (const std::exception& error) {
      purged.failures.push_back({path, error.what()});
    }
  };
  for (const Root& root : readRoots(purged.notes)) {
    for (const std::string& leftover : root.leftovers) {
      if (isCancelled()) return purged;
      const std::string path = root.store.pathOf(leftover);
      attempt(path, extent == Extent::everything ? 0 : freeableByFolder(path),
              [&] { ItemRemoval::run(holdEntry(path), {.shouldCancel = shouldCancel, .completion = nextPurge}); });
    }
    for (const Found& found : root.found) {
      if (isCancelled()) return purged;
      if (found.entry.manifest.quarantinedAt >= cutOff || (found.hasItem && extent != Extent::everything)) continue;
      attempt(found.entry.url, 0, [&] { remove(found.entry, shouldCancel); });
    }
  }
  return purged;
}

void QuarantineDisposer::checkRestore(const Entry& entry) const {
  static_cast<void>(placeToRestore(entry.manifest.originalPath, manifests.name, entry.url));
}

void QuarantineDisposer::restore(const Entry& entry) const {
  const std::string place = placeToRestore(entry.manifest.originalPath, manifests.name, entry.url);
  const auto store = StoreFolder::openExisting(parentPath(entry.url), false, quarantineName);
  moveBack(holdEntry(entry.url), place);
  manifests.remove(store, entry.name(), "was restored");
}

template <>
constexpr auto fieldsOf<QuarantineDisposer::Manifest> =
    recordFields(bytesField("originalPath", &QuarantineDisposer::Manifest::originalPath),
                 field("quarantinedAt", &QuarantineDisposer::Manifest::quarantinedAt),
                 field("bytes", &QuarantineDisposer::Manifest::bytes),
                 field("freeableBytes", &QuarantineDisposer::Manifest::freeableBytes),
                 field("host", &QuarantineDisposer::Manifest::host));

template struct RecordCodec<QuarantineDisposer::Manifest>;

QuarantineDisposer::Manifest JsonCodec<QuarantineDisposer::Manifest>::decode(const nlohmann::json& value,
                                                                             const std::string& where) {
  auto manifest = RecordCodec::decode(value, where);
  for (auto* figure : {&manifest.bytes, &manifest.freeableBytes}) {
    if (*figure && **figure < 0) figure->reset();
  }
  return manifest;
}

}  // namespace tidra
