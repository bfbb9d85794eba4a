// For each rule in catalog order and each of its path templates: resolve, expand wildcards, step to the children in
// children mode, check the kind, drop what an earlier path covers or the user excludes, then label.
#include "core/scan/probes/catalog_path_probe.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <map>

#include "core/base/text.h"
#include "core/model/system_group_root.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"

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

/// The text as a pattern that matches nothing else.
std::string globEscaped(std::string_view text) {
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

/// Resolves templates. A variable that holds no absolute path counts as unset, as is the custom for the XDG ones: "off"
/// and "." name no folder, and a template must not come to name the home folder or the root because of them.
class TemplateResolver {
 public:
  explicit TemplateResolver(const TidraPathResolver& given) : plain_(given), escaped_{globEscaped(given.home), {}} {
    std::erase_if(plain_.environment, [](const auto& variable) { return !variable.second.starts_with('/'); });
    for (const auto& [name, value] : plain_.environment) escaped_.environment.emplace(name, globEscaped(value));
  }

  /// Only what the template itself spells is a wildcard, not what a home folder happens to be called.
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

/// The candidate paths of one template, before anything is checked.
std::vector<std::string> pathsOf(const SystemPathRule& rule, std::vector<std::string> paths) {
  if (rule.mode == SystemPathRule::Mode::directory) return paths;
  std::vector<std::string> children;
  for (const std::string& folder : paths) {
    if (!ProbeFiles::isFolder(folder)) continue;
    for (const std::string& name : ProbeFiles::entryNames(folder)) children.push_back(joinedPath(folder, name));
  }
  return children;
}

/// The candidates so far, none inside another.
class Candidates {
 public:
  bool covers(const std::string& path) const {
    for (std::string above = path;; above = parentPath(above)) {
      if (byPath_.contains(above)) return true;
      if (above == "/") return false;
    }
  }

  /// Those inside the new one are part of it from now on.
  void add(CatalogPathProbe::Candidate candidate) {
    const std::string below = joinedPath(candidate.url, "");
    for (auto inner = byPath_.lower_bound(below); inner != byPath_.end() && inner->first.starts_with(below);) {
      taken_[inner->second].reset();
      inner = byPath_.erase(inner);
    }
    byPath_.emplace(candidate.url, taken_.size());
    taken_.emplace_back(std::move(candidate));
  }

  std::vector<CatalogPathProbe::Candidate> list() {
    std::vector<CatalogPathProbe::Candidate> list;
    for (auto& candidate : taken_) {
      if (candidate) list.push_back(std::move(*candidate));
    }
    return list;
  }

 private:
  std::vector<std::optional<CatalogPathProbe::Candidate>> taken_;  // unset for those that became part of another
  std::map<std::string, std::size_t> byPath_;
};

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

std::vector<CatalogPathProbe::Candidate> CatalogPathProbe::candidates(const SystemProbeContext& context) const {
  Candidates taken;
  const TemplateResolver resolver(context.resolver);
  for (const SystemPathRule& rule : context.catalog->systemRulesFor(context.platform, std::set{categoryKey_})) {
    for (const std::string& pathTemplate : rule.paths.at(std::string(rawValue(context.platform)))) {
      for (const std::string& path : pathsOf(rule, resolver.paths(pathTemplate))) {
        if (context.isCancelled()) return taken.list();
        // Whatever a variable holds, the home folder and what holds it are nobody's cache.
        if (isSameOrInside(context.home(), path)) continue;
        // What a link points to may lie anywhere, and removing the link would free nothing.
        const auto facts = pathFacts(path);
        if (!facts || facts->type == EntryType::symbolicLink) continue;
        const bool isFolder = facts->type == EntryType::directory;
        if (rule.kind == SystemPathRule::Kind::directory && rule.mode == SystemPathRule::Mode::directory && !isFolder) {
          continue;
        }
        if (taken.covers(path) || context.exclusionFilter.bars(path)) continue;
        taken.add({path, rule, labelOf(rule, pathTemplate, path), !isFolder});
      }
    }
  }
  return taken.list();
}

ProbeReport CatalogPathProbe::scan(const SystemProbeContext& context) const {
  ProbeReport report;
  for (const Candidate& candidate : candidates(context)) {
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
      item.finding.sizeBytes = facts->sizeBytes;
      item.identity = facts->identity;
    } else {
      item.measuredFolder = candidate.url;
    }
    report.items.push_back(std::move(item));
  }
  return report;
}

}  // namespace tidra
