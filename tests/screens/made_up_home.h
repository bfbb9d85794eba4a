// The home folder of the pictures.
#pragma once

#include <string>

#include "tests/support/temporary_tree.h"

namespace tidra {

/// Projects with artefacts of all ages and tiers, some GB in all, which are allocated and not written. Its dates are so
/// far from the limits of months and years that the pictures say the same on each day.
class MadeUpHome {
 public:
  MadeUpHome();

  const std::string& path() const { return tree_.root(); }
  /// How many files, each named "module…", the largest `node_modules` has.
  static constexpr int modules = 6000;

 private:
  struct Project;

  void add(const Project& project) const;
  void allocate(const std::string& file, double megabytes) const;
  void date(const std::string& folder, int days) const;
  void addModules() const;

  TemporaryTree tree_;
};

}  // namespace tidra
