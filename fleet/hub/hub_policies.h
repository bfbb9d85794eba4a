// The policies that the hub hands out: a folder with a file for each.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

/// Holds no state but the path. Documents are not looked into.
class HubPolicies {
 public:
  explicit HubPolicies(std::string folder);

  /// Letters, digits and "-_." of ASCII, at least one and at most 200.
  static bool isName(std::string_view name);

  /// Sorted; files that no policy could have are passed over. Throws std::system_error when the folder cannot be read.
  std::vector<std::string> names() const;

  /// The document as it was put; none when there is none, or for a bad name. Throws std::system_error when it cannot be
  /// read.
  std::optional<std::string> read(const std::string& name) const;

  /// Replaces the file durably. Throws HubStoreError for a bad name and std::system_error.
  void put(const std::string& name, std::string_view document) const;

  /// False when there is none. Durable, and throws, as put.
  bool remove(const std::string& name) const;

 private:
  std::string pathOf(const std::string& name) const;

  std::string folder_;
};

}  // namespace tidra
