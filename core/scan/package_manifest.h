// The manifest of a JavaScript package.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tidra {

/// Contents of a "package.json". If unreadable, it counts as listing packages and having no scripts.
class PackageManifest {
 public:
  explicit PackageManifest(const std::string& project);

  /// Whether an installer would install anything.
  bool namesPackages() const { return namesPackages_; }

  /// Whether a build script exists and none runs a file out of the folder, as "node build/build.js" does. Folders whose
  /// names only tools use need no script.
  bool mayMake(std::string_view folder) const;

 private:
  bool namesPackages_ = true;
  std::vector<std::pair<std::string, std::string>> scripts_;
};

}  // namespace tidra
