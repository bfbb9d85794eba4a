// What the scripts of a "package.json" do with a folder: they build into it, or run what lies in it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tidra {

class PackageScripts {
 public:
  void add(std::string name, std::string command) { scripts_.push_back({std::move(name), std::move(command)}); }

  /// Whether a script builds and none reads from the folder beside the manifest, as "node build/build.js" and
  /// "cd build" do. In doubt false: commands are read as words, not run.
  bool mayMake(std::string_view folder) const;

 private:
  struct Script {
    std::string name;
    std::string command;
  };

  std::vector<Script> scripts_;
};

}  // namespace tidra
