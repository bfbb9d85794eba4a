// For each rule in catalog order and each path template: resolve, expand wildcards, step to the children in children
// mode, drop exclusions, check the kind, drop what an earlier path contains, label.
#include "core/scan/probes/catalog_path_probe.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <array>

#include "core/base/text.h"
#include "core/model/system_group_root.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/scan/folder_contents.h"
#include "core/scan/folder_sample.h"
#include "core/scan/place_set.h"

namespace tidra {
namespace {

constexpr std::array meaninglessNames{std::string_view{"Crashpad"},  std::string_view{"pending"},
                                      std::string_view{"completed"}, std::string_view{"web"},
                                      std::string_view{"tmp"},       std::string_view{"X"}};

std::string replacingAll(std::string text, std::string_view wanted, const std::string& replacement) {
  for (auto place = text.find(wanted); place != std::string::npos; place = text.find(wanted, place)) {
    text.replace(place, wanted.size(), replacement);
    place += replacement.size();
  }
  return text;
}

std::string labelOf(const SystemPathRule& rule, const std::string& pathTemplate, const std::string& path) {
  const std::string name(lastPathComponent(path));
  if (rule.childLabel) {
    const std::string named = replacingAll(*rule.childLabel, "{name}", name);
    return replacingAll(named, "{parent}", CatalogPathProbe::meaningfulParentName(path));
  }
  const bool children = rule.mode == SystemPathRule::Mode::children;
  if (!children && !isGlob(pathTemplate)) return rule.label;
  if (!isGlob(children ? std::string_view(pathTemplate) : lastPathComponent(pathTemplate))) {
    return CatalogPathProbe::meaningfulParentName(path) + " · " + rule.label;
  }
  return rule.label + " · " + name;
}

std::optional<TimePoint> activityOf(const SystemPathRule& rule, const std::string& path) {
  switch (rule.activity) {
    case SystemPathRule::Activity::none:
      return std::nullopt;
    case SystemPathRule::Activity::self:
      return ProbeFiles::modified(path);
    case SystemPathRule::Activity::newestChild:
      return ProbeFiles::newestChild(path);
  }
  return std::nullopt;
}

/// Escapes text for fnmatch(), so that it matches only itself.
std::string fnmatchEscaped(std::string_view text) {
  std::string pattern;
  for (const char c : text) {
    if (c == '\\') {
      pattern += "[\\\\]";
    } else {
      pattern += c == '*' || c == '?' || c == '[' ? std::string{'[', c, ']'} : std::string{c};
    }
  }
  return pattern;
}

/// Resolves templates. Variables without an absolute path count as unset, as the XDG specification requires: with "off"
/// or "." a template could resolve to the home folder or "/".
class TemplateResolver {
 public:
  explicit TemplateResolver(const TidraPathResolver& given) : plain_(given), escaped_{fnmatchEscaped(given.home), {}} {
    std::erase_if(plain_.environment, [](const auto& variable) { return !variable.second.starts_with('/'); });
    for (const auto& [name, value] : plain_.environment) escaped_.environment.emplace(name, fnmatchEscaped(value));
  }

  /// Wildcards count only in the template itself, not in values such as the home folder.
  std::vector<std::string> paths(const std::string& pathTemplate) const {
    const bool expands = isGlob(pathTemplate);
    const auto resolved = (expands ? escaped_ : plain_).resolve(pathTemplate);
    if (!resolved) return {};
    return expands ? CatalogPathProbe::expandedGlob(*resolved) : std::vector{*resolved};
  }

 private:
  TidraPathResolver plain_;
  TidraPathResolver escaped_;
};

/// Returns the unchecked candidate paths of one template.
std::vector<std::string> pathsOf(const SystemPathRule& rule, std::vector<std::string> paths) {
  if (rule.mode == SystemPathRule::Mode::directory) return paths;
  std::vector<std::string> children;
  for (const std::string& folder : paths) {
    if (!ProbeFiles::isFolder(folder)) continue;
    for (const std::string& name : ProbeFiles::entryNames(folder)) children.push_back(joinedPath(folder, name));
  }
  return children;
}

/// Whether an entry can match a rule. A symbolic link never counts as a folder: removing it frees nothing, and its
/// target may contain more than the rule covers. In children mode it usually selects the version in use.
bool fits(const SystemPathRule& rule, const std::string& path, EntryType type) {
  if (type == EntryType::symbolicLink) return rule.kind == SystemPathRule::Kind::file && followedFacts(path);
  return rule.kind == SystemPathRule::Kind::file || rule.mode == SystemPathRule::Mode::children ||
         type == EntryType::directory;
}

/// Whether the value of a variable, other than those of the system, decides which folder a template names.
bool isNamedByVariable(std::string_view pathTemplate) {
  if (!pathTemplate.starts_with('$')) return false;
  const auto begin = pathTemplate.find_first_not_of("${");
  if (begin == std::string_view::npos) return false;
  const auto name = pathTemplate.substr(begin, pathTemplate.find_first_of("}/", begin) - begin);
  return name != "TMPDIR" && name != "HOME" && !name.starts_with("XDG_");
}

/// Whether people have files of this name; builds make some of them as well, caches of tools do not at their top.
bool isOfPeople(std::string_view fileName) {
  constexpr std::array suffixes{".html", ".css", ".js", ".csv", ".pdf", ".jpg", ".jpeg", ".png", ".mp4", ".rtf"};
  return isHandMade(fileName) || std::any_of(suffixes.begin(), suffixes.end(), [&](const char* suffix) {
           return asciiLowered(fileName).ends_with(suffix);
         });
}

/// Returns the name of an entry that people make: a repository, source, a document. Empty without one.
std::string handMadeEntry(const std::vector<FolderEntry>& entries) {
  const auto found = std::find_if(entries.begin(), entries.end(), [](const FolderEntry& entry) {
    return entry.type == EntryType::directory ? entry.name == ".git" : isOfPeople(entry.name);
  });
  return found == entries.end() ? "" : found->name;
}

/// Returns the path of what people made in the folder or in a folder in it, where caches of tools have no such names.
/// Empty if there is none.
std::string workIn(const std::string& folder) {
  constexpr std::size_t mostFolders = 64;
  const auto entries = listing(folder);
  if (const auto name = handMadeEntry(entries); !name.empty()) return joinedPath(folder, name);
  std::size_t folders = 0;
  for (const FolderEntry& entry : entries) {
    if (entry.type != EntryType::directory || ++folders > mostFolders) continue;
    const std::string child = joinedPath(folder, entry.name);
    if (const auto name = handMadeEntry(listing(child)); !name.empty()) return joinedPath(child, name);
  }
  return "";
}

/// A variable may name a folder of work by mistake. What lies there then raises the finding.
SystemPathRule raisedByWork(SystemPathRule rule, const std::string& path, const TidraPathResolver& resolver) {
  const std::string work = workIn(path);
  if (work.empty()) return rule;
  rule.tier = ArtifactSafetyTier::warning;
  rule.restoreHint =
      fmt::format("A variable names this folder, but it holds {}", escapedForTerminal(resolver.displayPath(work)));
  return rule;
}

/// Whether what a rule demands lies in a finding.
bool holdsDemanded(const SystemPathRule& rule, const std::string& path) {
  if (!rule.holds) return true;
  const auto entries = listing(path);
  return std::any_of(rule.holds->begin(), rule.holds->end(),
                     [&](const std::string& file) { return !firstMatch(path, entries, file).empty(); });
}

/// A template that is only a variable could name any folder, even a working folder. Requires the mark of a cache or a
/// cache's name.
bool mayBeVariablesCache(const std::string& pathTemplate, const std::string& path) {
  if (!isNamedByVariable(pathTemplate) || pathTemplate.find('/') != std::string::npos) return true;
  const std::string name = asciiLowered(lastPathComponent(path));
  if (name.find("cache") != std::string::npos || name == "go-build" || name == "uv") return true;
  constexpr std::array marks{"CACHEDIR.TAG", "trim.txt", "archive-v0"};
  return std::any_of(marks.begin(), marks.end(), [&](auto mark) { return bool{pathFacts(joinedPath(path, mark))}; });
}

}  // namespace

std::string CatalogPathProbe::meaningfulParentName(const std::string& path) {
  constexpr int mostSteps = 4;
  std::string folder = parentPath(path);
  for (int step = 0; step < mostSteps; ++step) {
    const auto name = lastPathComponent(folder);
    if (std::find(meaninglessNames.begin(), meaninglessNames.end(), name) == meaninglessNames.end()) break;
    folder = parentPath(folder);
  }
  return std::string(lastPathComponent(folder));
}

std::vector<std::string> CatalogPathProbe::expandedGlob(const std::string& path) {
  std::vector<std::string> current{"/"};
  for (const std::string_view piece : splitNonEmpty(path, '/')) {
    std::vector<std::string> next;
    for (const std::string& folder : current) {
      if (!isGlob(piece)) {
        std::string child = joinedPath(folder, piece);
        if (followedFacts(child)) next.push_back(std::move(child));
        continue;
      }
      for (const std::string& name : ProbeFiles::entryNames(folder)) {
        if (::fnmatch(std::string(piece).c_str(), name.c_str(), 0) == 0) next.push_back(joinedPath(folder, name));
      }
    }
    current = std::move(next);
  }
  return current;
}

CatalogPathProbe::Candidates CatalogPathProbe::candidates(const SystemProbeContext& context) const {
  Candidates found;
  PlaceSet taken;
  const TemplateResolver resolver(context.resolver);
  for (const SystemPathRule& rule : context.catalog->systemRulesFor(context.platform, std::set{categoryKey_})) {
    for (const std::string& pathTemplate : rule.paths.at(std::string(rawValue(context.platform)))) {
      for (const std::string& path : pathsOf(rule, resolver.paths(pathTemplate))) {
        if (context.isCancelled()) return found;
        // The home folder and its ancestors are never caches, even if a variable names them.
        if (isSameOrInside(context.home(), path)) continue;
        if (!rule.holds && !mayBeVariablesCache(pathTemplate, path)) continue;
        const auto facts = pathFacts(path);
        if (!facts || context.exclusionFilter.bars(path)) continue;
        if (!fits(rule, path, facts->type)) {
          const bool isLink = facts->type == EntryType::symbolicLink && rule.mode == SystemPathRule::Mode::directory;
          if (isLink && followedFacts(path)) found.links.insert(path);
          continue;
        }
        if (!holdsDemanded(rule, path) || (StoreNames::isWholeTrash(path) && listing(path).empty())) continue;
        const std::string label = labelOf(rule, pathTemplate, path);
        auto judged = isNamedByVariable(pathTemplate) ? raisedByWork(rule, path, context.resolver) : rule;
        if (taken.covers(path)) {
          if (taken.covers(parentPath(path))) found.covered.push_back({path, label, judged.tier});
          continue;
        }
        taken.add(path);
        found.taken.push_back({path, std::move(judged), label, facts->type != EntryType::directory});
      }
    }
  }
  return found;
}

ProbeReport CatalogPathProbe::scan(const SystemProbeContext& context) const {
  ProbeReport report;
  Candidates found = candidates(context);
  report.covered = std::move(found.covered);
  for (const std::string& link : found.links) {
    report.notes.push_back(fmt::format("{} is a symbolic link and is skipped, with its target.",
                                       escapedForTerminal(context.resolver.displayPath(link))));
  }
  for (const Candidate& candidate : found.taken) {
    ProbeItem item;
    item.finding = {.path = candidate.url,
                    .label = candidate.label,
                    .sizeBytes = 0,
                    .ecosystemTag = candidate.rule.ecosystem,
                    .groupRoot = TidraSystemGroupRoot::forCategory(categoryKey_),
                    .source = ArtifactSource::systemProbe,
                    .safetyTier = candidate.rule.tier,
                    .restoreHint = candidate.rule.restoreHint,
                    .lastActivityDate = activityOf(candidate.rule, candidate.url),
                    .ruleID = candidate.rule.id};
    if (candidate.isFile) {
      const auto facts = pathFacts(candidate.url);
      if (!facts) continue;
      item.finding.sizeBytes = facts->type == EntryType::symbolicLink ? 0 : facts->sizeBytes;
      item.identity = facts->identity;
    } else {
      item.measuredFolder = candidate.url;
    }
    item.isTrash = StoreNames::isWholeTrash(candidate.url);
    report.items.push_back(std::move(item));
  }
  return report;
}

}  // namespace tidra
