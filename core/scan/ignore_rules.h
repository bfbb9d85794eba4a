// Evaluates git's ignore files, also outside repositories.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/platform/path_resolver.h"

namespace tidra {

/// One file of ignore patterns with git's rules: the last match decides, "!" re-includes, a "/" before the end anchors
/// the pattern to the file's folder, "**" spans folders.
class IgnoreRules {
 public:
  IgnoreRules() = default;
  explicit IgnoreRules(std::string_view text);

  /// Whether these are all rules of the file. Of an incomplete list no answer is certain: what is missing may take back
  /// what the rest ignores.
  bool areComplete() const { return areComplete_; }

  /// Rules of a file that exists and cannot be read whole.
  static IgnoreRules unknown();

  /// Result of the deciding pattern for a folder.
  struct Verdict {
    bool isIgnored = false;  // false: re-included
    bool isNamed = false;    // by a pattern more specific than "*"
  };

  /// Returns nullopt when no pattern matches. `path` is relative to the file's folder, without a leading "/".
  std::optional<Verdict> verdictOn(const std::string& path) const;

 private:
  struct Pattern {
    std::vector<std::string> components;  // "**": any number of folders
    bool takesBack = false;
    bool isNamed = false;
  };

  std::vector<Pattern> patterns_;
  bool areComplete_ = true;
};

/// Looks folders up in the ignore files above them. Caches files; not thread-safe.
class IgnoreFinder {
 public:
  /// The user's global ignore file applies inside repositories only.
  explicit IgnoreFinder(const TidraPathResolver& resolver);

  struct Answer {
    bool isIgnored = false;       // it or an ancestor
    bool isNamed = false;         // a pattern names this very folder
    bool isInRepository = false;  // ".git" exists at or above the folder's parent
    bool isVersioned = false;     // likewise for another version control system
    bool isUncertain = false;     // an ignore file that could decide cannot be read whole
  };

  /// Where an ignore file that cannot be read whole could decide, the folder counts as neither ignored nor named.
  /// Outside repositories ignore files apply up to, but excluding, the home folder, or up to "/". Files not owned by
  /// the running user, root or the folder's owner count as missing: in a shared folder anyone can plant ".git" and
  /// ".gitignore".
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

  /// Returns the ignore files that apply to a folder, in descending precedence; sets what `answer` says of versioning.
  std::vector<Level> levelsAbove(const std::string& folder, Answer& answer);

  std::string home_;
  std::uint32_t owner_ = 0;  // owner of the folder being looked up
  IgnoreRules global_;
  std::unordered_map<std::string, std::unique_ptr<Folder>> folders_;
};

}  // namespace tidra
