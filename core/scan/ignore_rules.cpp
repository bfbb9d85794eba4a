// A folder is ignored when a pattern matches it or an ancestor; git does not look below ignored folders, so nothing
// there can be re-included. Of several files the nearest one decides.
#include "core/scan/ignore_rules.h"

#include <algorithm>
#include <array>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/folder_contents.h"

namespace tidra {
namespace {

constexpr std::size_t largestIgnoreFile = 256_KiB;
constexpr std::size_t mostPatterns = 4096;

/// Bounds the number of levels; no repository is as deep.
constexpr std::size_t mostIgnoreLevels = 64;

/// Removes what git ignores: a final CR, and trailing blanks not escaped by a backslash.
std::string_view patternOf(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  while (line.ends_with(' ') && !line.ends_with("\\ ")) line.remove_suffix(1);
  return line.starts_with('#') ? std::string_view() : line;
}

bool matchesFrom(const std::vector<std::string>& pattern, std::size_t i, const std::vector<std::string>& names,
                 std::size_t j) {
  for (; i < pattern.size(); ++i, ++j) {
    if (pattern[i] == "**") {
      // Consecutive "**" are merged, so the number of attempts is bounded by the path's components.
      if (i + 1 == pattern.size()) return j < names.size();
      for (std::size_t next = j; next < names.size(); ++next) {
        if (matchesFrom(pattern, i + 1, names, next)) return true;
      }
      return false;
    }
    if (j == names.size() || !globMatches(pattern[i], names[j].c_str())) return false;
  }
  return j == names.size();
}

/// Bounds the "**" of a pattern against exponential matching (denial of service).
constexpr std::ptrdiff_t mostSpans = 3;

IgnoreRules readRules(const std::string& path) {
  const auto text = readRegularFile(path, largestIgnoreFile);
  if (text) return IgnoreRules(*text);
  const bool isMissing =
      text.failure() == std::errc::no_such_file_or_directory || text.failure() == std::errc::not_a_directory;
  return isMissing ? IgnoreRules() : IgnoreRules::unknown();
}

}  // namespace

IgnoreRules::IgnoreRules(std::string_view text) {
  for (const std::string_view line : splitNonEmpty(text, '\n')) {
    if (patterns_.size() == mostPatterns) {
      areComplete_ = false;
      return;
    }
    std::string_view written = patternOf(line);
    Pattern pattern;
    if (written.starts_with('!')) {
      pattern.takesBack = true;
      written.remove_prefix(1);
    }
    if (written.ends_with('/')) written.remove_suffix(1);  // matches folders only; no other query is made
    if (written.ends_with('/') || written.find("//") != std::string_view::npos) continue;  // matches nothing
    const bool isTied = written.find('/') != std::string_view::npos;
    for (const std::string_view component : splitNonEmpty(written, '/')) {
      if (component == "**" && !pattern.components.empty() && pattern.components.back() == "**") continue;
      pattern.components.emplace_back(component);
    }
    if (pattern.components.empty()) continue;
    pattern.isNamed = pattern.components.back().find_first_not_of("*?") != std::string::npos;
    if (!isTied && pattern.components.front() != "**") pattern.components.insert(pattern.components.begin(), "**");
    const auto spans = std::count(pattern.components.begin(), pattern.components.end(), "**");
    if (spans <= mostSpans) {
      patterns_.push_back(std::move(pattern));
    } else {
      areComplete_ = false;
    }
  }
}

IgnoreRules IgnoreRules::unknown() {
  IgnoreRules rules;
  rules.areComplete_ = false;
  return rules;
}

std::optional<IgnoreRules::Verdict> IgnoreRules::verdictOn(const std::string& path) const {
  if (patterns_.empty()) return std::nullopt;
  std::vector<std::string> names;
  for (const std::string_view name : splitNonEmpty(path, '/')) names.emplace_back(name);
  for (auto pattern = patterns_.rbegin(); pattern != patterns_.rend(); ++pattern) {
    if (matchesFrom(pattern->components, 0, names, 0)) return Verdict{!pattern->takesBack, pattern->isNamed};
  }
  return std::nullopt;
}

IgnoreFinder::IgnoreFinder(const TidraPathResolver& resolver) : home_(realPathOrSame(resolver.home)) {
  if (const auto global = resolver.resolve("$XDG_CONFIG_HOME/git/ignore")) global_ = readRules(*global);
}

const IgnoreFinder::Folder& IgnoreFinder::look(const std::string& folder) {
  auto& known = folders_[folder];
  if (!known) {
    known = std::make_unique<Folder>();
    const std::string ignoreFile = joinedPath(folder, ".gitignore");
    // As git: a symbolic link in a work tree is no ignore file.
    if (vouchesFor(owner_, ignoreFile) && !linkTarget(ignoreFile)) known->rules = readRules(ignoreFile);
    known->isRepository = vouchesFor(owner_, joinedPath(folder, ".git"));
    constexpr std::array otherMarks{".hg", ".svn", ".jj", ".bzr", "CVS", "_darcs", ".pijul", ".fslckout"};
    known->isVersioned = std::any_of(otherMarks.begin(), otherMarks.end(),
                                     [&](auto mark) { return bool{pathFacts(joinedPath(folder, mark))}; });
    if (known->isRepository) known->excluded = readRules(joinedPath(folder, ".git/info/exclude"));
  }
  return *known;
}

std::vector<IgnoreFinder::Level> IgnoreFinder::levelsAbove(const std::string& folder, Answer& answer) {
  std::vector<Level> levels;
  std::string above = parentPath(folder);
  for (; levels.size() < mostIgnoreLevels && !answer.isInRepository; above = parentPath(above)) {
    const Folder& looked = look(above);
    answer.isInRepository = looked.isRepository;
    answer.isVersioned = answer.isVersioned || looked.isVersioned;
    if (above == home_ && !looked.isRepository) break;
    levels.push_back({above, &looked.rules});
    if (above == "/") break;
  }
  if (answer.isInRepository) {
    // Lowest precedence: ignores of this clone, then of this user.
    const std::string repository = levels.back().folder;
    levels.push_back({repository, &look(repository).excluded});
    levels.push_back({repository, &global_});
  }
  return levels;
}

IgnoreFinder::Answer IgnoreFinder::of(const std::string& folder) {
  Answer answer;
  const auto facts = pathFacts(folder);
  if (const auto owner = facts ? facts->owner : runningUser(); owner != owner_) {
    owner_ = owner;
    folders_.clear();
  }
  const auto levels = levelsAbove(folder, answer);
  if (levels.empty()) return answer;
  const std::string& top = levels.back().folder;
  const std::string relative = folder.substr(top == "/" ? 1 : top.size() + 1);
  for (auto end = relative.find('/');; end = relative.find('/', end + 1)) {
    const std::string entry = joinedPath(top, relative.substr(0, end));
    for (const Level& level : levels) {
      if (entry == level.folder || !isSameOrInside(entry, level.folder)) continue;
      answer.isUncertain = !level.rules->areComplete();
      if (answer.isUncertain) return answer;
      const auto said = level.rules->verdictOn(entry.substr(level.folder == "/" ? 1 : level.folder.size() + 1));
      if (!said) continue;
      answer.isIgnored = said->isIgnored;
      answer.isNamed = said->isIgnored && said->isNamed && end == std::string::npos;
      break;
    }
    if (answer.isIgnored || end == std::string::npos) return answer;
  }
}

}  // namespace tidra
