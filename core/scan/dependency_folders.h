// Folders full of packages that somebody else made and a tool installed. They are findings as a whole or not at all: a
// "dist" or "target" inside is a part of its package, and no build in that place makes it again.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidra {

struct DependencyFolders {
  /// True for names that only installers use, such as "node_modules" and "site-packages".
  static bool isNamedSo(std::string_view folderName);

  /// The outermost dependency folder that an absolute path equals or lies in; absent when there is none. Looks at the
  /// folders above the path for what installers leave there.
  static std::optional<std::string> holding(const std::string& path);
};

/// What the listing of one folder says about the packages in it. Fed with every entry while the folder is read.
class PackageSigns {
 public:
  /// `folderName` must outlive this.
  explicit PackageSigns(std::string_view folderName) : isVendor_(folderName == "vendor") {}

  /// True for entries that note() must be called for: few, so that a walk asks about the others for nothing.
  static bool mayBeSign(std::string_view entryName);
  void note(std::string_view entryName);

  /// True when all of the folder is packages.
  bool isDependencyFolder() const {
    return isCrate_ || isConda_ || (isVendor_ && holdsVendored_) || (holdsGems_ && holdsGemSpecifications_);
  }

  /// True when this subfolder belongs to a Python environment whose folder this is. What else lies there may be a
  /// project's own: some make the environment in the project folder itself.
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
