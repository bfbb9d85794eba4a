#include "core/dispose/deletion_service.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/item_removal.h"
#include "core/dispose/known_stores.h"
#include "core/dispose/tool_figures.h"
#include "core/dispose/tool_targets.h"
#include "core/dispose/volumes.h"
#include "core/model/removal_leftover.h"
#include "core/platform/path_text.h"
#include "core/scan/directory_size.h"
#include "core/scan/removal_note.h"

namespace tidra {
namespace {

constexpr std::chrono::seconds measuringLimit{30};

/// Returns a sentence on the `staying` entries of a trash; empty for 0.
std::string remainderOf(std::size_t staying, const std::vector<FreedesktopTrash::Entry>& undated) {
  if (staying == 0) return {};
  std::vector<std::string> reasons;
  if (!undated.empty()) reasons.push_back(FreedesktopTrash::describe(undated));
  if (const std::size_t later = staying - undated.size(); later > 0) {
    reasons.push_back(fmt::format("{} trashed since the scan", later));
  }
  return fmt::format("{} {} in the trash: {}.", staying, staying == 1 ? "entry stays" : "entries stay",
                     joined(reasons, "; "));
}

void requireAnyDue(std::size_t due, std::size_t all, const std::vector<FreedesktopTrash::Entry>& undated) {
  if (due > 0 || all == 0) return;
  if (undated.empty()) throw DisposalError("stays: everything in it was trashed since the scan");
  throw DisposalError(fmt::format(
      "stays, because nothing says when what is in the trash was put there: {}; tidra trash purge --older-than 0d "
      "--include-unlisted removes such entries",
      FreedesktopTrash::describe(undated)));
}

void requireAllGone(const FreedesktopTrash::Purged& purged, std::size_t due) {
  const std::size_t staying = purged.failures.size() + purged.notBegun;
  if (staying == 0) return;
  const std::string left = fmt::format("{} of {} entries are still in the trash", staying, due);
  if (purged.notBegun > 0) throw DisposalError("was interrupted; " + left + ", the others are deleted");
  const auto& first = purged.failures.front();
  throw DisposalError(fmt::format("{}; {}: {}", left, escapedForTerminal(first.path), first.message));
}

/// Whether a folder now holds repositories that it did not hold when it was known by another path.
bool holdsFurther(const RepositoriesInside& now, const std::string& path, const RepositoriesInside& then,
                  const std::string& formerPath) {
  std::set<std::string_view> known;
  for (const std::string& repository : then.ofGit) known.insert(pathBelow(repository, formerPath));
  const auto isFurther = [&](const std::string& repository) { return !known.contains(pathBelow(repository, path)); };
  // Of very many, the scan named only some.
  if (!then.hasMore && (now.hasMore || std::any_of(now.ofGit.begin(), now.ofGit.end(), isFurther))) return true;
  return now.foreign &&
         (!then.foreign || pathBelow(now.foreign->folder, path) != pathBelow(then.foreign->folder, formerPath));
}

std::string openStoreText(const std::string& store) {
  constexpr std::uint32_t writableByOthers = 0022;
  const auto facts = pathFacts(store);
  const bool othersMayWrite = facts && (facts->permissions & writableByOthers) != 0;
  return fmt::format(
      "{} is open to whoever may use its volume, whose file system has no permissions: others can {} what is moved "
      "there, now and later.",
      escapedForTerminal(store), othersMayWrite ? "read and change" : "read");
}

}  // namespace

TidraDeletionService::TidraDeletionService(Setting setting)
    : setting_(std::move(setting)), layers_(setting_.mounts), trash_(setting_.resolver, setting_.mounts) {}

TidraDeletionService::Result TidraDeletionService::dispose(const Item& item, DisposalMethod method, bool dryRun,
                                                           const QuarantineConfig& quarantine) {
  freedByFailure_.reset();
  try {
    if (ToolTargets::isTarget(item.path)) return disposeTarget(item.path, dryRun);
    return disposePath(item, method, dryRun, quarantine);
  } catch (const std::system_error& error) {
    if (error.code() == std::errc::no_such_file_or_directory) return TidraDeletionFailure{item.path, "Path not found"};
    return TidraDeletionFailure{
        item.path, method == DisposalMethod::delete_ ? error.code().message() : storeMessage(error.code())};
  } catch (const std::runtime_error& error) {
    return TidraDeletionFailure{item.path, error.what()};
  }
}

DisposalOutcome TidraDeletionService::dispose(const std::vector<Item>& items, DisposalMethod method, bool dryRun,
                                              const QuarantineConfig& quarantine, const ListHooks& hooks) {
  DisposalOutcome outcome;
  for (std::size_t i = 0; i < items.size() && !isCancelled(); ++i) {
    auto refusal = hooks.refuse ? hooks.refuse(i) : std::nullopt;
    // Deciding may have taken a while.
    if (hooks.refuse && isCancelled()) break;
    if (refusal) freedByFailure_.reset();
    Result result = refusal ? TidraDeletionFailure{items[i].path, std::move(*refusal)}
                            : dispose(items[i], method, dryRun, quarantine);
    if (hooks.finished) hooks.finished(i, result);
    if (auto* disposed = std::get_if<Disposed>(&result)) {
      outcome.receipts.push_back(std::move(disposed->receipt));
    } else {
      outcome.failures.push_back(std::move(std::get<TidraDeletionFailure>(result)));
    }
  }
  return outcome;
}

TidraDeletionService::Disposed TidraDeletionService::disposeTarget(const std::string& target, bool dryRun) {
  const auto command = setting_.tools.commandFor(target, setting_.resolver);
  std::optional<std::int64_t> reclaimed;
  if (!dryRun) {
    reclaimed = reclaimedBytes(target, setting_.tools.run(command, setting_.resolver, setting_.shouldCancel));
  }
  return {{.path = target,
           .method = DisposalMethod::delete_,
           .destination = std::nullopt,
           .bytes = std::nullopt,
           .at = setting_.clock()},
          reclaimed};
}

std::vector<std::string> TidraDeletionService::ownFolders(const QuarantineConfig& quarantine) const {
  const std::string trash = TrashDisposer::folder(setting_.resolver);
  auto own = setting_.protectedFolders;
  // Without their info files the trash could neither list nor restore items.
  own.insert(own.end(), {quarantine.directory, trash, joinedPath(trash, "files"), joinedPath(trash, "info")});
  return own;
}

TidraDeletionService::Disposed TidraDeletionService::disposePath(const Item& item, DisposalMethod method, bool dryRun,
                                                                 const QuarantineConfig& quarantine) {
  std::string path = item.path;
  if (path == "~" || path.starts_with("~/")) path = setting_.resolver.home + path.substr(1);
  const HeldEntry entry = holdEntry(path);
  if (item.identity && *item.identity != entry.facts.identity) {
    throw DisposalError("was replaced by something else since the scan; scan again");
  }
  if (!quarantine_ || quarantine_->config() != quarantine) {
    quarantine_.emplace(quarantine, setting_.resolver, setting_.host, setting_.mounts);
    stores_.emplace(setting_.resolver.home, knownStores(setting_.resolver, {quarantine.directory}));
    protected_.emplace(setting_.resolver, setting_.mounts, ownFolders(quarantine));
  }
  if (StoreNames::isWholeTrash(entry.path())) return emptyTrash(item, entry, dryRun);
  protected_->check(entry);
  requireOutsideStores(entry);
  // Interrupted removals are deleted, not moved to a store.
  if (RemovalLeftover::isEither(entry.name)) {
    if (!RemovalNote::claims(entry.folder.descriptor.get(), entry.name)) {
      throw DisposalError("is named like an interrupted removal, but no note of yours says that it is one");
    }
    method = DisposalMethod::delete_;
  }
  requireEmptiable(entry);
  const Measured measured = measure(entry, item, method);
  Disposed disposed{.receipt = {.path = item.path,
                                .method = method,
                                .destination = std::nullopt,
                                .bytes = measured.bytes,
                                .at = setting_.clock()},
                    .freed = method == DisposalMethod::delete_ ? measured.freeable : 0};
  if (measured.isKeptInPart && method == DisposalMethod::delete_) noteLowerLayer();
  if (!dryRun) {
    act(entry, standardizedPath(path), measured, disposed);
    noteOpenStores();
    return disposed;
  }
  requireChangeable(entry);
  if (method == DisposalMethod::trash) trash_.check(entry);
  if (method == DisposalMethod::quarantine) quarantine_->check(entry);
  return disposed;
}

TidraDeletionService::Disposed TidraDeletionService::emptyTrash(const Item& item, const HeldEntry& entry, bool dryRun) {
  const std::string trash = parentPath(entry.path());
  if (const auto store = stores_->holding(trash); store && store->path != trash) requireOutsideStores(entry);
  const TimePoint now = setting_.clock();
  const TimePoint cutOff = setting_.seenAt.value_or(now + std::chrono::seconds{1});
  auto entries = FreedesktopTrash::listOf(trash, now);
  const std::size_t all = entries.size();
  auto [due, undated] = FreedesktopTrash::choose(std::move(entries), cutOff, setting_.includesUndated);
  requireAnyDue(due.size(), all, undated);
  FreedesktopTrash::measure(due);
  std::int64_t bytes = 0;
  std::int64_t freed = 0;
  for (const auto& listed : due) {
    bytes = saturatedSum(bytes, listed.bytes);
    freed = saturatedSum(freed, listed.freeable);
  }
  Disposed disposed{.receipt = {.path = item.path,
                                .method = DisposalMethod::delete_,
                                .destination = std::nullopt,
                                .bytes = bytes,
                                .at = now},
                    .freed = freed,
                    .remainder = remainderOf(all - due.size(), undated)};
  if (dryRun) return disposed;
  if (isCancelled()) throw DisposalError("was interrupted, so it stays in its place");
  requireAllGone(FreedesktopTrash::remove(due, shouldBreakOff()), due.size());
  return disposed;
}

void TidraDeletionService::requireOutsideStores(const HeldEntry& entry) {
  const auto store = stores_->holding(entry.path());
  if (!store) return;
  throw DisposalError(fmt::format("is protected: {} is {}, and what is in one is only removed by purging it",
                                  escapedForTerminal(store->path), describedStore(store->kind)));
}

void TidraDeletionService::act(const HeldEntry& entry, const std::string& path, const Measured& measured,
                               Disposed& disposed) {
  DisposalReceipt& receipt = disposed.receipt;
  switch (receipt.method) {
    case DisposalMethod::trash:
      receipt.destination = trash_.trash(entry, path, receipt.at);
      return;
    case DisposalMethod::quarantine:
      receipt.destination = quarantine_
                                ->quarantine(entry, path, receipt.bytes, receipt.at,
                                             measured.bytes ? std::optional(measured.freeable) : std::nullopt)
                                .url;
      return;
    case DisposalMethod::delete_:
      remove(entry, measured, disposed);
  }
}

void TidraDeletionService::remove(const HeldEntry& entry, const Measured& measured, Disposed& disposed) {
  bool isKeptBelow = false;
  try {
    isKeptBelow = ItemRemoval::run(
        entry,
        {.workers = setting_.workers, .shouldCancel = shouldBreakOff(), .removedEntries = setting_.removedEntries});
  } catch (const PartlyRemovedError& error) {
    freedByFailure_ =
        ItemRemoval::freedByPart(error.left(), disposed.freed, {.workers = setting_.workers, .layers = layers_});
    throw;
  }
  // Where the dates did not show the lower layer, nobody knows what came from it.
  if (!isKeptBelow || measured.isKeptInPart) return;
  disposed.freed = 0;
  noteLowerLayer();
}

void TidraDeletionService::noteLowerLayer() {
  notes_.insert("What came from a lower layer, such as a container's image, stays in that layer and frees nothing.");
}

/// Only of stores made just now, so that a user reads it once for each volume.
void TidraDeletionService::noteOpenStores() {
  for (const auto* stores : {&trash_.openStores(), &quarantine_->openStores()}) {
    for (const std::string& store : *stores) notes_.insert(openStoreText(store));
  }
}

std::function<bool()> TidraDeletionService::shouldBreakOff() const {
  if (!setting_.whileRemoving) return setting_.finishesItems ? std::function<bool()>() : setting_.shouldCancel;
  return [this] {
    setting_.whileRemoving();
    return !setting_.finishesItems && isCancelled();
  };
}

TidraDeletionService::Measured TidraDeletionService::measure(const HeldEntry& entry, const Item& item,
                                                             DisposalMethod method) const {
  if (entry.facts.type != EntryType::directory) {
    const bool isKept = layers_.keeps(entry.path(), entry.facts.identity);
    const auto freeable = isKept ? 0 : freeableByEntry(entry.folder.descriptor.get(), entry.name);
    return {signedBytes(entry.facts.sizeBytes), freeable, isKept};
  }
  TidraDirectorySizeReader::Options options;
  options.workers = setting_.workers;
  options.layers = layers_;
  options.limit = measuringLimit;
  // One rename moves a folder with all that lies in it to quarantine, and one restores it; a trash is for purging.
  options.forRemoval = method != DisposalMethod::quarantine;
  options.shouldCancel = setting_.shouldCancel;
  const auto size = TidraDirectorySizeReader::readAll({{entry.path()}}, options).front();
  // Nothing has changed yet: cancelling while a large tree is measured leaves it in place.
  if (isCancelled()) throw DisposalError("was interrupted, so it stays in its place");
  if (size.kept) throw DisposalError(size.kept->reason(setting_.resolver) + ", so it stays");
  if (item.repositories && holdsFurther(size.repositories, entry.path(), *item.repositories, item.path)) {
    throw DisposalError("holds a repository since the scan; scan again");
  }
  if (!size.bytes) return {};
  return {signedBytes(*size.bytes), signedBytes(size.use.freeableBytes), size.use.keptBytes > 0};
}

}  // namespace tidra
