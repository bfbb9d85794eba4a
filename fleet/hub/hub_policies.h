// The policies that the hub serves: a folder with a file for each.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

/// Stateless but for the path. Does not interpret documents.
class HubPolicies {
 public:
  explicit HubPolicies(std::string folder);

  /// True for 1 to 200 ASCII letters, digits and "-_.".
  static bool isName(std::string_view name);

  /// Sorted; ignores files with other names. Throws std::system_error when the folder is unreadable.
  std::vector<std::string> names() const;

  /// The stored document; none when missing or for an invalid name. Throws std::system_error when it is unreadable.
  std::optional<std::string> read(const std::string& name) const;

  /// Replaces the file durably (atomic rename, `fsync`). Throws HubStoreError for an invalid name; std::system_error.
  void put(const std::string& name, std::string_view document) const;

  /// Durably removes the file; false when there is none. Throws as put does.
  bool remove(const std::string& name) const;

 private:
  std::string pathOf(const std::string& name) const;

  std::string folder_;
};

}  // namespace tidra
