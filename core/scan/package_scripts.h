// What the scripts of a "package.json" do with a folder: they build into it, or run what lies in it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tidra {

class PackageScripts {
 public:
  void add(std::string name, std::string command) { scripts_.push_back({std::move(name), std::move(command)}); }

  /// Whether a script calls a tool that is known to build, or writes into the folder `folder` of the project, and none
  /// reads from that folder, as "node build/build.js", "cd build" and "zip -r x.zip build" do. In doubt false: commands
  /// are read as words, not run.
  bool mayMake(std::string_view folder, const std::string& project) const;

  /// The different words of the commands, the first 256: "make.js" of "node make.js" is a script file.
  std::vector<std::string> words() const;

 private:
  struct Script {
    std::string name;
    std::string command;
  };

  std::vector<Script> scripts_;
};

}  // namespace tidra
