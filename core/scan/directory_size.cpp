#include "core/scan/directory_size.h"

#include <deque>

#include "core/platform/files.h"
#include "core/scan/bundle_packages.h"
#include "core/scan/folder_traversal.h"
#include "core/scan/measurement.h"

namespace tidra {

bool Measurement::belongs(std::string_view folderName) const { return enterBundles_ || !isBundlePackage(folderName); }

unsigned defaultScanWorkers() {
  constexpr unsigned fewest = 8;
  constexpr unsigned most = 32;
  return std::clamp(2 * std::thread::hardware_concurrency(), fewest, most);
}

namespace {

struct Target {
  explicit Target(bool enterBundles) : measurement(enterBundles) {}
  Measurement measurement;
  std::atomic<bool> opened{false};
  std::optional<FileIdentity> identity;  // set by the first visit, before any other begins
  std::atomic<bool> complete{false};
};

struct Context {
  const WalkFilter::Place* place = nullptr;
  Target* target = nullptr;
};

struct SizeVisitor {
  using Traversal = FolderTraversal<Context, SizeVisitor>;

  void visit(Traversal::Visit& folder) {
    const auto [place, target] = folder.context();
    if (!target->opened.exchange(true)) {
      if (const auto facts = descriptorFacts(folder.node()->descriptor())) target->identity = facts->identity;
    }
    target->measurement.measure(folder.reader(), folder.node()->descriptor(), place,
                                [&folder, target = target](auto name, auto* subplace) {
                                  folder.descend(name, {subplace, target});
                                });
    finish(target);
  }

  void couldNotOpen(const Context& context, std::error_code failure) {
    if (context.target->opened) context.target->measurement.couldNotOpen(failure);
    finish(context.target);
  }

  static void finish(Target* target) {
    if (target->measurement.finishFolder()) target->complete = true;
  }
};

/// The place of a folder that may be named through links, while the mounts are known without.
const WalkFilter::Place* placeOf(const WalkFilter& mounts, const std::string& folder) {
  const auto real = realPath(folder);
  return mounts.placeOf(real ? *real : folder);
}

}  // namespace

std::optional<std::uint64_t> TidraDirectorySizeReader::read(const std::string& path, std::chrono::milliseconds limit) {
  const auto measured = readAll({path}, {.limit = limit}).front();
  return measured ? std::optional(measured->bytes) : std::nullopt;
}

std::vector<std::optional<TidraDirectorySizeReader::Measured>> TidraDirectorySizeReader::readAll(
    const std::vector<std::string>& paths, const Options& options) {
  std::deque<Target> targets;
  for (std::size_t i = 0; i < paths.size(); ++i) targets.emplace_back(options.enterBundles);
  WalkFilter mounts;
  for (const MountPoint& mount : options.mounts) mounts.addMount(mount.path);
  SizeVisitor visitor;
  {
    SizeVisitor::Traversal traversal(visitor, options.workers == 0 ? defaultScanWorkers() : options.workers);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      traversal.addRoot(paths[i], {placeOf(mounts, paths[i]), &targets[i]});
    }
    const auto started = std::chrono::steady_clock::now();
    const auto cancelWhenDue = [&] {
      const bool late = options.limit && std::chrono::steady_clock::now() - started >= *options.limit;
      if (late || (options.shouldCancel && options.shouldCancel())) traversal.cancel();
    };
    // Before anything is read, so that no time or a withdrawn request gives no size however fast the disk is.
    cancelWhenDue();
    traversal.start();
    constexpr std::chrono::milliseconds poll{20};
    while (!traversal.waitFor(poll)) cancelWhenDue();
  }
  std::vector<std::optional<Measured>> results;
  for (const Target& target : targets) {
    const bool known = target.complete && !target.measurement.hasFailed();
    results.push_back(known ? std::optional(Measured{target.measurement.bytes(), target.identity}) : std::nullopt);
  }
  return results;
}

}  // namespace tidra
