// Each round visits every folder once: it unlinks files and symbolic links while reading, hands subfolders to the
// workers, and whoever finishes the last subfolder removes the folder, and so on upwards. The next round removes what
// is left: added meanwhile, made accessible after the attempt, or too deep.
#include "core/dispose/tree_removal.h"

#include <fmt/format.h>

#include <atomic>
#include <cassert>
#include <chrono>
#include <memory>
#include <mutex>

#include "core/platform/folder_entries.h"
#include "core/scan/folder_traversal.h"

namespace tidra {
namespace {

/// Limits rounds without completion; rounds that moved deep folders up do not count.
constexpr int mostRounds = 6;

/// Every level holds a descriptor until its subfolders are removed. Folders at this depth are moved up to the first
/// folder for the next round, which bounds the number of descriptors and the length of parent chains.
constexpr int deepest = 64;

bool hasVanished(std::error_code reason) { return reason == std::errc::no_such_file_or_directory; }

/// One folder being removed.
struct RemovedFolder {
  std::shared_ptr<RemovedFolder> parent;  // null for the first
  std::shared_ptr<FolderNode> node;       // set once it is open
  std::string name;
  int depth = 0;
  std::atomic<std::size_t> pending{1};  // its own listing plus its subfolders
  std::atomic<bool> keepsSomething{false};
};

class RemovalRound {
 public:
  using Context = std::shared_ptr<RemovedFolder>;
  using Traversal = FolderTraversal<Context, RemovalRound>;

  /// Adds to `counter`, which callers poll; progress() is relative to its value at the start.
  RemovalRound(const EntryFacts& first, std::atomic<std::uint64_t>& counter)
      : first_(first), progress_(counter), before_(counter) {}

  void attach(Traversal& traversal) { traversal_ = &traversal; }

  void visit(Traversal::Visit& visit) {
    RemovedFolder& folder = *visit.context();
    assert(!folder.node);
    folder.node = visit.node();
    folder.node->holdDescriptor();
    if (folder.parent == nullptr) {
      assert(!top_);
      top_ = folder.node;
    }
    const auto facts = descriptorFacts(folder.node->descriptor());
    if (facts && facts->sharesVolumeWith(first_)) {
      empty(visit, folder);
    } else {
      otherVolume_ = otherVolume_ || static_cast<bool>(facts);
      keep(folder, facts ? std::make_error_code(std::errc::cross_device_link) : facts.failure());
    }
    finish(visit.context());
  }

  void couldNotOpen(const Context& context, std::error_code reason, const UnopenedFolder&) {
    // Adds rwx for the owner; the next round tries again. That round also handles entries that became a file or link.
    if (isForbidden(reason) && context->parent) {
      const auto granted = context->parent->node->withDescriptor(
          [&](int descriptor) { return grantOwnerAccess(descriptor, context->name.c_str()); });
      if (!granted) ++progress_;
    }
    if (!hasVanished(reason)) keep(*context, reason);
    finish(context);
  }

  std::uint64_t progress() const { return progress_ - before_; }
  std::uint64_t movedUp() const { return movedUp_; }
  bool meetsOtherVolume() const { return otherVolume_; }
  const std::string& obstaclePath() const { return obstaclePath_; }
  std::error_code obstacle() const { return obstacle_; }

 private:
  void empty(Traversal::Visit& visit, RemovedFolder& folder) {
    const int descriptor = folder.node->descriptor();
    visit.reader().start(descriptor);
    for (DirectoryEntry entry; visit.reader().next(entry) && !traversal_->isCancelled();) {
      if (entry.type == EntryType::directory) {
        if (folder.depth < deepest || !moveUp(descriptor, entry.name.data())) descend(visit, entry.name);
      } else {
        unlink(folder, descriptor, entry.name.data());
      }
    }
    if (const auto reason = visit.reader().failure()) keep(folder, reason);
  }

  void descend(Traversal::Visit& visit, std::string_view name) {
    auto subfolder = std::make_shared<RemovedFolder>();
    subfolder->parent = visit.context();
    subfolder->name = name;
    subfolder->depth = visit.context()->depth + 1;
    ++visit.context()->pending;
    visit.descend(name, std::move(subfolder));
  }

  bool moveUp(int descriptor, const char* name) {
    assert(top_);
    const auto number = numbers_++;
    if (top_->withDescriptor([&](int top) { return moveEntry(descriptor, name, top, fmt::format(".{}", number)); })) {
      return false;
    }
    ++movedUp_;
    ++progress_;
    return true;
  }

  void unlink(RemovedFolder& folder, int descriptor, const char* name) {
    auto reason = removeFileEntry(descriptor, name);
    if (isForbidden(reason) && !grantOwnerAccess(descriptor, "")) reason = removeFileEntry(descriptor, name);
    if (!reason) {
      progress_.fetch_add(1, std::memory_order_relaxed);
    } else if (!hasVanished(reason)) {
      keep(folder, reason, name);
    }
  }

  /// One part of a folder's work is done. The last part removes the folder, itself a part of its parent's work.
  void finish(Context folder) {
    assert(folder->pending > 0);
    while (folder && --folder->pending == 0) {
      if (!folder->parent) return;  // the first folder is the caller's
      if (!traversal_->isCancelled()) removeEmptied(*folder);
      folder->node.reset();
      folder = folder->parent;
    }
  }

  void removeEmptied(RemovedFolder& folder) {
    if (folder.keepsSomething) {
      folder.parent->keepsSomething = true;
      return;
    }
    const auto reason = folder.parent->node->withDescriptor([&](int parent) {
      const auto refused = removeFolderEntry(parent, folder.name.c_str());
      if (!isForbidden(refused) || grantOwnerAccess(parent, "")) return refused;
      return removeFolderEntry(parent, folder.name.c_str());
    });
    if (!reason) {
      ++progress_;
    } else if (!hasVanished(reason)) {
      keep(*folder.parent, reason, folder.name);
    }
  }

  /// Records the first obstacle. `name` is an entry of the folder, empty for the folder itself.
  void keep(RemovedFolder& folder, std::error_code reason, std::string_view name = {}) {
    folder.keepsSomething = true;
    const std::lock_guard lock(mutex_);
    if (obstacle_) return;
    obstacle_ = reason;
    obstaclePath_ = name;
    for (const RemovedFolder* place = &folder; place->parent; place = place->parent.get()) {
      obstaclePath_ = obstaclePath_.empty() ? place->name : place->name + "/" + obstaclePath_;
    }
  }

  const EntryFacts& first_;
  Traversal* traversal_ = nullptr;
  std::shared_ptr<FolderNode> top_;       // written by the first visit, before any other begins
  std::atomic<std::uint64_t>& progress_;  // also what callers poll: no second counter for each file
  const std::uint64_t before_;
  std::atomic<std::uint64_t> movedUp_{0};
  static inline std::atomic<std::uint64_t> numbers_{0};
  std::atomic<bool> otherVolume_{false};
  std::mutex mutex_;  // guards the obstacle
  std::error_code obstacle_;
  std::string obstaclePath_;
};

/// Runs one round over the open folder; returns false if cancelled.
bool runRound(RemovalRound& round, FileDescriptor folder, const TreeRemoval::Options& options) {
  RemovalRound::Traversal traversal(round, options.workers == 0 ? defaultScanWorkers() : options.workers);
  round.attach(traversal);
  traversal.addRoot(std::move(folder), "", std::make_shared<RemovedFolder>());
  return traversal.run(options.shouldCancel);
}

/// Opens the folder; on EACCES adds rwx for the owner and tries again.
Outcome<FileDescriptor> openFolder(int parent, const char* name) {
  auto folder = openSubdirectory(parent, name);
  if (!folder && isForbidden(folder.failure()) && !grantOwnerAccess(parent, name)) {
    folder = openSubdirectory(parent, name);
  }
  return folder;
}

}  // namespace

TreeRemoval::Result TreeRemoval::run(int parent, const std::string& name, const FileIdentity& identity,
                                     const Options& options) {
  Result result;
  std::atomic<std::uint64_t> ownCounter{0};
  for (int round = 0; round < mostRounds;) {
    auto folder = openFolder(parent, name.c_str());
    const auto facts = folder ? descriptorFacts(folder->get()) : folder.failure();
    if (!facts) {
      result.obstacle = facts.failure();
      return result;
    }
    if (!isStillSame(folder->get(), facts->identity, identity)) {
      result.obstacle = std::make_error_code(std::errc::no_such_file_or_directory);
      return result;
    }
    RemovalRound work(*facts, options.removedEntries == nullptr ? ownCounter : *options.removedEntries);
    result.cancelled = !runRound(work, std::move(*folder), options);
    result.changedAnything = result.changedAnything || work.progress() > 0;
    result.obstaclePath = work.obstaclePath();
    result.obstacle = work.obstacle();
    result.meetsOtherVolume = work.meetsOtherVolume();
    if (result.cancelled) return result;
    const auto last = removeFolderEntry(parent, name.c_str());
    result.complete = !last || hasVanished(last);
    if (result.complete) return result;
    if (!result.obstacle) result.obstacle = last;
    const bool hopeless = work.progress() == 0 && result.obstacle != std::errc::directory_not_empty;
    if (hopeless || last != std::errc::directory_not_empty) return result;
    if (work.movedUp() == 0) ++round;
  }
  return result;
}

}  // namespace tidra
