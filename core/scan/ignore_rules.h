// What git ignores, read from the files that say so, also where there is no repository any more.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/platform/path_resolver.h"

namespace tidra {

/// One file of ignore patterns, with git's rules: the last pattern that matches decides, "!" takes back, a "/" before
/// the end ties the pattern to the folder of the file, "**" spans folders.
class IgnoreRules {
 public:
  IgnoreRules() = default;
  explicit IgnoreRules(std::string_view text);

  /// What the pattern that decides says of a folder.
  struct Verdict {
    bool isIgnored = false;  // false: taken back
    bool isNamed = false;    // by more than "*", which speaks of everything
  };

  /// Absent when no pattern speaks of the folder. `path` is relative to the folder of the file, without a leading "/".
  std::optional<Verdict> verdictOn(const std::string& path) const;

 private:
  struct Pattern {
    std::vector<std::string> components;  // "**" for any number of folders
    bool takesBack = false;
    bool isNamed = false;
  };

  std::vector<Pattern> patterns_;
};

/// Looks folders up in the ignore files above them. Keeps what it has read; for one thread.
class IgnoreFinder {
 public:
  /// The user's own ignore file counts in repositories.
  explicit IgnoreFinder(const TidraPathResolver& resolver);

  struct Answer {
    bool isIgnored = false;       // or a folder above it
    bool isNamed = false;         // ignored by a pattern that names this very folder
    bool isInRepository = false;  // ".git" was found at or above the folder's parent
    bool isVersioned = false;     // the mark of another version control was
  };

  /// Without a repository the ignore files count up to the home folder, whose own does not, or to "/". What belongs to
  /// others than the running user, root and the owner of the folder counts as missing: in a shared folder above the
  /// project anybody can write ".git" and ".gitignore".
  Answer of(const std::string& folder);

 private:
  struct Level {
    std::string folder;
    const IgnoreRules* rules;
  };

  struct Folder {
    IgnoreRules rules;
    IgnoreRules excluded;  // of a repository: ".git/info/exclude"
    bool isRepository = false;
    bool isVersioned = false;
  };

  const Folder& look(const std::string& folder);
  bool isTrusted(const std::string& path) const;

  std::string home_;
  std::uint32_t owner_ = 0;  // of the folder that is asked about
  IgnoreRules global_;
  std::unordered_map<std::string, std::unique_ptr<Folder>> folders_;
};

}  // namespace tidra
