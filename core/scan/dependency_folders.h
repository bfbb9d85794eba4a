// Folders of packages that a tool installed. They are findings as a whole or not at all: a "dist" inside is part of its
// package, and no build there recreates it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidra {

struct DependencyFolders {
  /// Whether only installers use this name, such as "node_modules" and "site-packages".
  static bool isNamedSo(std::string_view folderName);

  /// Returns the outermost dependency folder that contains or equals an absolute path; nullopt if none does. Checks
  /// each ancestor for files that installers leave.
  static std::optional<std::string> holding(const std::string& path);
};

/// Evidence of packages in one folder's listing. Call note() for every sign while reading it.
class PackageSigns {
 public:
  /// `folderName` must outlive this.
  explicit PackageSigns(std::string_view folderName) : isVendor_(folderName == "vendor") {}

  /// Whether note() must be called for an entry. Cheap, because a walk calls it for every entry.
  static bool mayBeSign(std::string_view entryName);
  void note(std::string_view entryName);

  /// Whether the folder consists of packages only.
  bool isDependencyFolder() const {
    return isCrate_ || isConda_ || (isVendor_ && holdsVendored_) || (holdsGems_ && holdsGemSpecifications_);
  }

  /// Whether this subfolder belongs to a Python environment rooted in this folder. Other subfolders may be the
  /// project's own: some environments are created in the project folder itself.
  bool isEnvironmentPart(std::string_view subfolder) const;

 private:
  bool isVendor_;
  bool isEnvironment_ = false;
  bool isConda_ = false;
  bool isCrate_ = false;
  bool holdsVendored_ = false;
  bool holdsGems_ = false;
  bool holdsGemSpecifications_ = false;
};

}  // namespace tidra
