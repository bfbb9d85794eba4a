// The manifest of a JavaScript package.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/scan/folder_contents.h"
#include "core/scan/package_scripts.h"

namespace tidra {

/// Contents of a "package.json". Without one, and if it is no JSON, it names no packages and has no scripts; larger
/// than 1 MiB it names some.
class PackageManifest {
 public:
  explicit PackageManifest(const std::string& project);

  /// Whether an installer would install anything.
  bool namesPackages() const { return namesPackages_; }

  /// Whether a dependency is a folder or file of this machine that is gone: an installer fails then.
  bool lacksPackage() const { return lacksPackage_; }

  /// Whether it names subfolders as packages of its own.
  bool hasWorkspaces() const { return hasWorkspaces_; }

  /// Whether a script builds, and nothing shows that the folder is part of the sources: no script, no file that a
  /// script runs and no configuration file `beside` reads from it. Folders whose names only tools use need no script.
  bool mayMake(std::string_view folder, const std::vector<FolderEntry>& beside) const;

 private:
  std::string project_;
  bool namesPackages_ = false;
  bool lacksPackage_ = false;
  bool hasWorkspaces_ = false;
  PackageScripts scripts_;
};

/// Returns the program that "packageManager" of the folder's "package.json" names, without its version: "pnpm"; empty
/// without one.
std::string packageManagerOf(const std::string& project);

/// Whether a lock file of a package manager in the folder names at least one package. Of files that vouch for a folder
/// of `owner`.
bool holdsPackageLock(const std::string& folder, std::uint32_t owner);

/// Whether packages in subfolders of this one share its lock file. Of files that vouch for a folder of `owner`.
bool isWorkspaceRoot(const std::string& folder, std::uint32_t owner);

}  // namespace tidra
