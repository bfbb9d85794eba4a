// A folder that a traversal has opened, as long as something below it still needs it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <system_error>

#include "core/base/errors.h"
#include "core/platform/file_descriptor.h"

namespace tidra {

/// Knows its place by its chain of parents, so that neither the depth of a tree nor the length of its paths costs
/// memory for more than the names. Its descriptor is shared by the workers that open its subfolders.
class FolderNode {
 public:
  FolderNode(std::shared_ptr<FolderNode> parent, std::string name, FileDescriptor descriptor);
  /// Releases a long chain of parents without recursion.
  ~FolderNode();
  FolderNode(const FolderNode&) = delete;
  FolderNode& operator=(const FolderNode&) = delete;

  /// Keeps the descriptor open as long as the node lives, unless expectSubfolders() is told otherwise. Paths below the
  /// first folder of a traversal can then always be reached through it. Call before expectSubfolders().
  void holdDescriptor() { held_ = true; }

  /// Calls `use(descriptor)` with the folder's descriptor, opened again through the chain of parents when it is closed;
  /// gives what `use` gives, or why the folder could not be opened. For held nodes.
  template <class Use>
  [[nodiscard]] std::error_code withDescriptor(Use use) const {
    if (descriptor_) return use(descriptor_.get());
    const auto again = openAgain();
    return again ? use(again->get()) : again.failure();
  }

  const FolderNode* parent() const { return parent_.get(); }
  /// One component; for the first folder of a traversal its whole path.
  const std::string& name() const { return name_; }
  int descriptor() const { return descriptor_.get(); }
  /// The whole path, made from the chain.
  std::string path() const;

  /// Announces how many subfolders will be opened; the descriptor closes after the last unless it is held. With
  /// `keepOpen` false it closes at once and every subfolder is reached through the chain; a held first folder stays.
  /// Call once, before any subfolder is opened.
  void expectSubfolders(std::size_t count, bool keepOpen);

  /// Opens a subfolder without following a link in its place, and counts it as opened whatever comes of it.
  Outcome<FileDescriptor> openExpected(const char* name);

  /// Descriptors that all nodes hold open at present.
  static std::int64_t openDescriptors();

 private:
  void closeDescriptor();
  Outcome<FileDescriptor> openAgain() const;

  std::shared_ptr<FolderNode> parent_;
  std::string name_;
  FileDescriptor descriptor_;
  bool held_ = false;
  std::atomic<std::size_t> unopened_{0};
};

/// True when the process or the system has no descriptor left.
bool isDescriptorShortage(std::error_code failure);

/// How many descriptors traversals may hold open besides those of the folders that are being read: most of what the
/// process is allowed. Raises the soft limit to the hard one on the first call, as the other two do.
std::int64_t descriptorBudget();

/// As many workers of those that are wanted as there are descriptors for, at least one.
unsigned affordableWorkers(unsigned wanted);

/// The same for tools that run at once beside the workers.
unsigned affordableTools(unsigned wanted);

}  // namespace tidra
