#include "core/scan/folder_node.h"

#include <sys/resource.h>

#include <algorithm>
#include <vector>

#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

std::atomic<std::int64_t> openCount{0};

}  // namespace

FolderNode::FolderNode(std::shared_ptr<FolderNode> parent, std::string name, FileDescriptor descriptor)
    : parent_(std::move(parent)), name_(std::move(name)), descriptor_(std::move(descriptor)) {
  if (descriptor_) ++openCount;
}

FolderNode::~FolderNode() {
  closeDescriptor();
  // A parent that this releases hands its own parent over to the loop below instead of releasing it in turn, so that a
  // chain of any length is released without recursion.
  thread_local bool releasing = false;
  thread_local std::shared_ptr<FolderNode> next;
  if (!parent_) return;
  next = std::move(parent_);
  if (releasing) return;
  releasing = true;
  while (next) {
    const std::shared_ptr<FolderNode> current = std::move(next);
  }
  releasing = false;
}

std::int64_t FolderNode::openDescriptors() { return openCount; }

void FolderNode::closeDescriptor() {
  if (!descriptor_) return;
  descriptor_.reset();
  --openCount;
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
  // From the first folder down again one component at a time, so that no link is followed on the way. Ancestors that
  // are still open cannot be used: their descriptors are other workers' to close. A held first folder is never closed,
  // and never looked up by its path again.
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
    const auto again = openAgain();
    if (!again) return again.failure();
    return openSubdirectory(again->get(), name);
  }
  auto opened = openSubdirectory(descriptor_.get(), name);
  if (--unopened_ == 0 && !held_) closeDescriptor();
  return opened;
}

std::int64_t descriptorBudget() {
  static const std::int64_t budget = [] {
    constexpr std::int64_t reserve = 128;  // for pipes of tools, standard streams, the folders being read
    constexpr std::int64_t enough = 60000;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return reserve;
    const auto wanted = std::min<rlim_t>(limit.rlim_max, static_cast<rlim_t>(enough + reserve));
    if (limit.rlim_cur < wanted) {
      rlimit raised{wanted, limit.rlim_max};
      if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
    }
    const auto usable =
        static_cast<std::int64_t>(std::min<rlim_t>(limit.rlim_cur, static_cast<rlim_t>(enough + reserve)));
    return std::max<std::int64_t>(usable - reserve, usable / 2);
  }();
  return budget;
}

}  // namespace tidra
