// A folder opened by a traversal, alive while something below it needs it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <system_error>

#include "core/base/errors.h"
#include "core/platform/file_descriptor.h"

namespace tidra {

/// Stores one name and a parent pointer: memory does not grow with path length times depth. Workers that open
/// subfolders share its descriptor.
class FolderNode {
 public:
  FolderNode(std::shared_ptr<FolderNode> parent, std::string name, FileDescriptor descriptor);
  /// Releases a chain of parents iteratively.
  ~FolderNode();
  FolderNode(const FolderNode&) = delete;
  FolderNode& operator=(const FolderNode&) = delete;

  /// Keeps the descriptor open for the node's lifetime, unless expectSubfolders() closes it. Lower paths then remain
  /// reachable through the first folder. Call before expectSubfolders().
  void holdDescriptor() { held_ = true; }

  /// Calls `use(descriptor)`; reopens a closed descriptor through the chain of parents. Returns the result of `use`, or
  /// why the folder could not be opened. For held nodes.
  template <class Use>
  [[nodiscard]] std::error_code withDescriptor(Use use) const {
    if (descriptor_) return use(descriptor_.get());
    const auto again = openAgain();
    return again ? use(again->get()) : again.failure();
  }

  const FolderNode* parent() const { return parent_.get(); }
  /// One component; the whole path for the first folder of a traversal.
  const std::string& name() const { return name_; }
  int descriptor() const { return descriptor_.get(); }
  /// Builds the whole path from the chain.
  std::string path() const;

  /// Announces the number of subfolders; the descriptor closes after the last one unless held. If `keepOpen` is false,
  /// it closes at once and subfolders are reached through the chain; a held first folder stays open. Call once, before
  /// opening any subfolder.
  void expectSubfolders(std::size_t count, bool keepOpen);

  /// Opens a subfolder with O_NOFOLLOW, and counts it even on failure.
  Outcome<FileDescriptor> openExpected(const char* name);

  /// Returns the number of descriptors that all nodes hold open.
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

/// Whether the process or the system is out of descriptors (EMFILE, ENFILE).
bool isDescriptorShortage(std::error_code failure);

/// Returns how many descriptors traversals may hold open in addition to folders being read: most of the limit. Like the
/// next two, raises the soft limit to the hard limit on the first call.
std::int64_t descriptorBudget();

/// Limits the number of workers to the available descriptors; at least one.
unsigned affordableWorkers(unsigned wanted);

/// The same for tools that run beside the workers.
unsigned affordableTools(unsigned wanted);

}  // namespace tidra
