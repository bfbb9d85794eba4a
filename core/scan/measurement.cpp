#include "core/scan/measurement.h"

#include <utility>

#include "core/scan/bundle_packages.h"
#include "core/scan/rule_index.h"

namespace tidra {
namespace {

/// Git folders below a ".git" belong to the repository around it, as those of submodules do.
bool isInsideGit(const FolderNode& folder) {
  const FolderNode* node = &folder;
  while (node != nullptr && node->name() != ".git") node = node->parent();
  return node != nullptr;
}

bool hasLongPath(const FolderNode& folder) {
  std::size_t length = 0;
  for (const auto* node = &folder; node != nullptr && length <= RepositoriesInside::longestPath; node = node->parent())
    length += node->name().size() + 1;
  return length > RepositoriesInside::longestPath;
}

}  // namespace

void Measurement::identify(const Outcome<EntryFacts>& folder) {
  if (!folder) return fail();
  identity_ = folder->identity;
  owner_ = folder->owner;
}

void Measurement::begin(const FolderNode& first) {
  identify(descriptorFacts(first.descriptor()));
  if (identity_) upperBornNanos_ = filter_.layers().upperBornNanos(identity_->device);
  first_ = &first;
  begun_ = true;
}

void Measurement::addFolder(int folder, StorageTally& tally) const {
  const std::uint64_t allocated = allocatedBy(folder);
  if (!upperBornNanos_) return tally.add(0, allocated);
  const auto facts = descriptorFacts(folder);
  const bool isKept = facts && facts->identity.bornNanos.value_or(*upperBornNanos_) < *upperBornNanos_;
  isKept ? tally.addKept(allocated) : tally.add(0, allocated);
}

void Measurement::couldNotOpen(std::error_code failure, const UnopenedFolder& folder, const Position& position) {
  if (isNoLongerThere(failure)) return;
  const bool leadsToKept = position.place != nullptr && position.place->leadsToKept;
  if (!isForbidden(failure) || (options_.isTrash && leadsToKept)) return fail();
  if (options_.forRemoval) meetClosed(folder.path(), pathFacts(folder.path()));
  if (!options_.isTrash) meet({folder.path(), KeptInside::Why::unreadable});
}

bool Measurement::belongs(std::string_view folderName) const {
  return options_.enterBundles || !isBundlePackage(folderName);
}

bool Measurement::isPackagesOwn(std::string_view name) const {
  const NameFacts* facts = options_.namesOfPackages != nullptr ? options_.namesOfPackages->find(name) : nullptr;
  return facts != nullptr && !facts->rules.empty();
}

/// Files in bundle packages are not asked for anything, so their folders are.
bool Measurement::isOfOthers(const FolderNode& folder) const {
  const auto facts = descriptorFacts(folder.descriptor());
  return facts && isOfOthers(facts->owner);
}

void Measurement::meetSigns(const FolderNode& node, const Listing& seen) {
  if (const auto kind = seen.stores.kind(node.descriptor())) meetStore(node.path(), *kind);
  const bool holdsGit = seen.git.holdsGit() || (seen.git.isBare() && !isInsideGit(node));
  if (holdsGit || seen.foreign.around() != nullptr) meetRepository(node, holdsGit, seen.foreign.around());
  if (seen.foreign.ofFolder() != nullptr) meetRepository(*node.parent(), false, seen.foreign.ofFolder());
  // The caller checks the first folder's own keep file: --force overrides it.
  if (seen.holdsKeepFile && &node != first_) meetKeepFile(node);
}

void Measurement::meetContents(DirectoryReader& reader, const FolderNode& node, const Position& position,
                               const Listing& seen) {
  if (auto highest = seen.ranked.highest(*first_, node, reader)) {
    const std::lock_guard lock(mutex_);
    if (!inside_.ranked || RankedInside::outranks(*highest, *inside_.ranked)) inside_.ranked = std::move(highest);
  }
  if (seen.ofOthers || (!position.isCounted && isOfOthers(node))) meetOfOthers(node, seen.ofOthers.value_or(""));
  const int descriptor = node.descriptor();
  if (options_.forRemoval && holdsEntriesThatStay(descriptor)) meetClosed(node.path(), descriptorFacts(descriptor));
}

void Measurement::addSizes(const Listing& seen) {
  {
    const std::lock_guard lock(mutex_);
    tally_.add(seen.tally);
  }
  std::uint64_t before = bytes_;
  while (!bytes_.compare_exchange_weak(before, saturatedSum(before, seen.bytes))) {
  }
}

void Measurement::meetStore(std::string path, StoreKind kind) {
  if (!options_.isTrash) meet(KeptInside::store(std::move(path), kind));
}

void Measurement::meetOfOthers(const FolderNode& folder, const std::string& name) {
  if (options_.isTrash) return;
  std::string path = pathInside(*first_, folder, name);
  const std::lock_guard lock(mutex_);
  if (!inside_.ofOthers || path < *inside_.ofOthers) inside_.ofOthers = std::move(path);
}

/// Own folders are opened for a removal.
void Measurement::meetClosed(std::string path, const Outcome<EntryFacts>& folder) {
  if (!folder || folder->owner == runningUser()) return;
  meet({std::move(path), folder->owner == 0 ? KeptInside::Why::ofRoot : KeptInside::Why::ofOthers});
}

/// Bounds the memory: at most the first repositories in byte order, a heap until all are known.
void Measurement::meetRepository(const FolderNode& folder, bool isOfGit, const char* foreign) {
  if (options_.isTrash) return;
  const bool isTooLong = hasLongPath(folder);
  std::string path = isTooLong ? std::string() : folder.path();
  const std::lock_guard lock(mutex_);
  repositories_.hasMore = repositories_.hasMore || isTooLong;
  if (isTooLong) return;
  if (foreign != nullptr && (!repositories_.foreign || path < repositories_.foreign->folder)) {
    repositories_.foreign = {path, foreign};
  }
  if (!isOfGit) return;
  auto& known = repositories_.ofGit;
  known.push_back(std::move(path));
  std::push_heap(known.begin(), known.end());
  if (known.size() <= RepositoriesInside::mostOfGit) return;
  std::pop_heap(known.begin(), known.end());
  known.pop_back();
  repositories_.hasMore = true;
}

void Measurement::meetKeepFile(const FolderNode& folder) {
  if (options_.isTrash) return;
  const auto file = entryFacts(folder.descriptor(), KeptInside::keepFile);
  const auto holder = file ? descriptorFacts(folder.descriptor()) : file.failure();
  if (!holder || isPlanted(*file, *holder)) return;
  meetEntry(folder, KeptInside::keepFile, KeptInside::Why::keepFile);
}

void Measurement::meet(KeptInside kept) {
  const std::lock_guard lock(mutex_);
  if (!kept_ || kept.path < kept_->path) kept_ = std::move(kept);
}

}  // namespace tidra
