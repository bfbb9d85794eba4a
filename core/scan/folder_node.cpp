#include "core/scan/folder_node.h"

#include <sys/resource.h>

#include <algorithm>
#include <cassert>
#include <chrono>
#include <thread>
#include <vector>

#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

std::atomic<std::int64_t> openCount{0};

/// Waits for other workers or tools to release descriptors. Bounded, because another program may hold them all.
template <class Open>
Outcome<FileDescriptor> openPatiently(Open open) {
  static std::atomic<int> triesLeft{2000};
  constexpr std::chrono::milliseconds pause{5};
  constexpr int mostTries = 40;
  for (int tries = 0;; ++tries) {
    auto opened = open();
    if (opened || !isDescriptorShortage(opened.failure())) return opened;
    if (tries == mostTries || --triesLeft < 0) return opened;
    std::this_thread::sleep_for(pause);
  }
}

}  // namespace

FolderNode::FolderNode(std::shared_ptr<FolderNode> parent, std::string name, FileDescriptor descriptor)
    : parent_(std::move(parent)), name_(std::move(name)), descriptor_(std::move(descriptor)) {
  if (descriptor_) ++openCount;
}

FolderNode::~FolderNode() {
  closeDescriptor();
  // Releases a chain of parents iteratively: recursion would overflow the stack on deep trees. A nested destructor
  // hands its parent to the loop below. thread_local plain pointer: a type with a destructor would be registered per
  // thread, and that registration aborts on out-of-memory.
  thread_local std::shared_ptr<FolderNode>* handedOver = nullptr;
  if (!parent_) return;
  if (handedOver != nullptr) {
    *handedOver = std::move(parent_);
    return;
  }
  std::shared_ptr<FolderNode> next = std::move(parent_);
  handedOver = &next;
  while (next) {
    const std::shared_ptr<FolderNode> current = std::move(next);
  }
  handedOver = nullptr;
}

std::int64_t FolderNode::openDescriptors() { return openCount; }

void FolderNode::closeDescriptor() {
  if (!descriptor_) return;
  descriptor_.reset();
  --openCount;
  assert(openCount >= 0);
}

std::string FolderNode::path() const {
  std::vector<const FolderNode*> chain;
  std::size_t length = 0;
  for (const FolderNode* node = this; node != nullptr; node = node->parent()) {
    chain.push_back(node);
    length += node->name_.size() + 1;
  }
  std::string path;
  path.reserve(length);
  path = chain.back()->name_;
  for (auto node = chain.rbegin() + 1; node != chain.rend(); ++node) {
    if (!path.ends_with('/')) path += '/';
    path += (*node)->name_;
  }
  return path;
}

void FolderNode::expectSubfolders(std::size_t count, bool keepOpen) {
  unopened_ = count;
  const bool isAnchor = held_ && !parent_;
  if (!isAnchor && (!keepOpen || (count == 0 && !held_))) closeDescriptor();
}

Outcome<FileDescriptor> FolderNode::openAgain() const {
  // Reopens from the first folder one component at a time with O_NOFOLLOW. Open ancestors cannot be used: other workers
  // may close their descriptors. A held first folder is never closed and never looked up by path again.
  std::vector<const FolderNode*> closed;
  const FolderNode* node = this;
  while (node->parent() != nullptr) {
    closed.push_back(node);
    node = node->parent();
  }
  auto current = node->held_ ? openSubdirectory(node->descriptor_.get(), ".") : openDirectory(node->name_);
  for (auto next = closed.rbegin(); current && next != closed.rend(); ++next) {
    current = openSubdirectory(current->get(), (*next)->name_.c_str());
  }
  return current;
}

Outcome<FileDescriptor> FolderNode::openExpected(const char* name) {
  if (!descriptor_) {
    return openPatiently([&]() -> Outcome<FileDescriptor> {
      const auto again = openAgain();
      if (!again) return again.failure();
      return openSubdirectory(again->get(), name);
    });
  }
  auto opened = openPatiently([&] { return openSubdirectory(descriptor_.get(), name); });
  assert(unopened_ > 0);
  if (--unopened_ == 0 && !held_) closeDescriptor();
  return opened;
}

bool isDescriptorShortage(std::error_code failure) {
  return failure == std::errc::too_many_files_open || failure == std::errc::too_many_files_open_in_system;
}

namespace {

/// Divides the process's descriptor limit. Raises the soft limit to the hard limit.
struct DescriptorShares {
  unsigned tools = 1;
  unsigned workers = 1;
  std::int64_t folders = 1;

  DescriptorShares() {
    constexpr std::int64_t enough = 60000;
    std::int64_t usable = 256;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
      const auto wanted = std::min<rlim_t>(limit.rlim_max, static_cast<rlim_t>(enough));
      const rlimit raised{wanted, limit.rlim_max};
      if (limit.rlim_cur < wanted && ::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
      usable = static_cast<std::int64_t>(std::min<rlim_t>(limit.rlim_cur, static_cast<rlim_t>(enough)));
    }
    constexpr std::int64_t perTool = 5;    // two pipes and the exit notice
    constexpr std::int64_t perWorker = 2;  // a folder and its parent
    // Reserve for standard streams, inherited descriptors and the tools of probes.
    const std::int64_t left = usable - std::clamp<std::int64_t>(usable / 4, 8, 48);
    tools = static_cast<unsigned>(std::clamp<std::int64_t>(left / 4 / perTool, 1, 64));
    workers = static_cast<unsigned>(std::clamp<std::int64_t>(left / 4 / perWorker, 1, 1024));
    folders = std::max<std::int64_t>(left - tools * perTool - workers * perWorker, 1);
  }

  static const DescriptorShares& ofThisProcess() {
    static const DescriptorShares shares;
    return shares;
  }
};

}  // namespace

std::int64_t descriptorBudget() { return DescriptorShares::ofThisProcess().folders; }

unsigned affordableWorkers(unsigned wanted) {
  return std::clamp(wanted, 1U, DescriptorShares::ofThisProcess().workers);
}

unsigned affordableTools(unsigned wanted) { return std::clamp(wanted, 1U, DescriptorShares::ofThisProcess().tools); }

}  // namespace tidra
