#include "core/scan/directory_size.h"

#include <deque>

#include "core/base/quantities.h"
#include "core/platform/files.h"
#include "core/scan/folder_traversal.h"
#include "core/scan/measurement.h"

namespace tidra {

unsigned defaultScanWorkers() {
  constexpr unsigned fewest = 8;
  constexpr unsigned most = 32;
  return std::clamp(2 * std::thread::hardware_concurrency(), fewest, most);
}

namespace {

struct SizeTarget {
  SizeTarget(const WalkFilter& filter, const TidraDirectorySizeReader::Folder& folder, const RuleIndex* rules,
             bool forRemoval)
      : measurement(filter, {.enterBundles = folder.enterBundles,
                             .isTrash = folder.isTrash,
                             .isPlace = rules != nullptr && !folder.isTrash,
                             .forRemoval = forRemoval,
                             .rules = folder.isTrash || folder.holdsPackages ? nullptr : rules,
                             .namesOfPackages = folder.holdsPackages ? rules : nullptr}) {}
  Measurement measurement;
  std::atomic<bool> complete{false};
};

struct SizeContext {
  Measurement::Position position;
  SizeTarget* target = nullptr;
};

struct SizeVisitor {
  using Traversal = FolderTraversal<SizeContext, SizeVisitor>;

  void visit(Traversal::Visit& folder) {
    const auto [position, target] = folder.context();
    target->measurement.measure(folder.reader(), *folder.node(), position,
                                [&folder, owner = target](auto name, const auto& below) {
                                  folder.descend(name, {below, owner});
                                });
    finish(target);
  }

  void couldNotOpen(const SizeContext& context, std::error_code failure, const UnopenedFolder& folder) {
    // A root that cannot be opened counts as empty.
    if (context.target->measurement.hasBegun() || isForbidden(failure)) {
      context.target->measurement.couldNotOpen(failure, folder, context.position);
    }
    finish(context.target);
  }

  static void finish(SizeTarget* target) {
    if (target->measurement.finishFolder()) target->complete = true;
  }
};

/// Filter paths have symbolic links resolved; roots may be passed with them.
WalkFilter filterFor(const TidraDirectorySizeReader::Options& options) {
  WalkFilter filter;
  filter.watch(options.exclusions.use);
  for (const MountPoint& mount : options.mounts) filter.addMount(mount.path);
  filter.setLayers(options.layers);
  for (const std::string& pattern : options.exclusions.globPatterns) filter.addPattern(pattern);
  for (const std::string& pattern : options.exclusions.keptPatterns) filter.addKept(pattern);
  for (const std::string& path : options.exclusions.pathPrefixes) filter.addExcluded(realPathOrSame(path));
  for (const Store& store : options.stores) filter.addStore({realPathOrSame(store.path), store.kind});
  return filter;
}

}  // namespace

std::int64_t freeableByEntry(int folder, const std::string& name) {
  const auto size = entrySize(folder, name.c_str());
  return size && size->links <= 1 ? signedBytes(size->allocated) : 0;
}

std::optional<std::uint64_t> TidraDirectorySizeReader::read(const std::string& path, std::chrono::milliseconds limit) {
  return readAll({{path}}, {.limit = limit}).front().bytes;
}

std::vector<TidraDirectorySizeReader::Size> TidraDirectorySizeReader::readAll(const std::vector<Folder>& folders,
                                                                              const Options& options) {
  WalkFilter filter = filterFor(options);
  std::vector<std::string> real;
  for (const Folder& folder : folders) {
    filter.addSpelling(folder.path, real.emplace_back(realPathOrSame(folder.path)));
  }
  std::deque<SizeTarget> targets;
  for (const Folder& folder : folders) {
    targets.emplace_back(filter, folder, options.rules, options.forRemoval);
  }
  SizeVisitor visitor;
  {
    SizeVisitor::Traversal traversal(visitor, options.workers == 0 ? defaultScanWorkers() : options.workers);
    for (std::size_t i = 0; i < folders.size(); ++i) {
      traversal.addRoot(folders[i].path, {{filter.placeOf(real[i])}, &targets[i]});
    }
    const auto started = std::chrono::steady_clock::now();
    // A zero limit or early cancellation reliably yields no size, since run() polls before any reading.
    traversal.run([&] {
      const bool late = options.limit && std::chrono::steady_clock::now() - started >= *options.limit;
      return late || (options.shouldCancel && options.shouldCancel());
    });
  }
  std::vector<Size> sizes;
  for (SizeTarget& target : targets) {
    const bool known = target.complete && !target.measurement.hasFailed();
    sizes.push_back({known ? std::optional(target.measurement.bytes()) : std::nullopt, target.measurement.kept(),
                     target.measurement.identity(), target.measurement.repositories(), target.measurement.inside(),
                     target.measurement.takeUse()});
  }
  return sizes;
}

}  // namespace tidra
