#include "core/scan/directory_size.h"

#include <deque>

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
  std::atomic<bool> complete{false};
};

struct SizeVisitor {
  using Traversal = FolderTraversal<Target*, SizeVisitor>;

  void visit(Traversal::Visit& folder) {
    Target* target = folder.context();
    target->measurement.measure(folder.reader(), folder.node()->descriptor(),
                                [&](std::string_view name) { folder.descend(name, target); });
    finish(target);
  }

  void couldNotOpen(Target* target, std::error_code) { finish(target); }

  static void finish(Target* target) {
    if (target->measurement.finishFolder()) target->complete = true;
  }
};

}  // namespace

std::optional<std::uint64_t> TidraDirectorySizeReader::read(const std::string& path, std::chrono::milliseconds limit) {
  return readAll({path}, {.limit = limit}).front();
}

std::vector<std::optional<std::uint64_t>> TidraDirectorySizeReader::readAll(const std::vector<std::string>& paths,
                                                                            const Options& options) {
  std::deque<Target> targets;
  for (std::size_t i = 0; i < paths.size(); ++i) targets.emplace_back(options.enterBundles);
  SizeVisitor visitor;
  {
    SizeVisitor::Traversal traversal(visitor, options.workers == 0 ? defaultScanWorkers() : options.workers);
    for (std::size_t i = 0; i < paths.size(); ++i) traversal.addRoot(paths[i], &targets[i]);
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
  std::vector<std::optional<std::uint64_t>> sizes;
  for (const Target& target : targets) {
    const bool known = target.complete && !target.measurement.hasFailed();
    sizes.push_back(known ? std::optional(target.measurement.bytes()) : std::nullopt);
  }
  return sizes;
}

}  // namespace tidra
