#include "app/state/scan_request_builder.h"

#include <fmt/format.h>

#include <memory>
#include <utility>

#include "app/state/exclusions_store.h"
#include "app/state/rule_sources.h"
#include "app/state/state_folders.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/host.h"
#include "core/platform/path_variables.h"
#include "core/rules/catalog_files.h"
#include "core/scan/exclusion_use.h"
#include "core/scan/git_metadata.h"
#include "core/scan/scan_roots.h"

namespace tidra {
namespace {

/// Returns a sentence when an exclusion names an unset variable, unless a file of that literal name exists.
std::optional<std::string> noteOnVariable(const std::string& text, const TidraPathResolver& resolver) {
  const auto name = unknownVariable(text, resolver);
  if (!name || (looksLikePath(text) && pathFacts(excludedPath(text, resolver)))) return std::nullopt;
  return fmt::format("The exclusion '{}' names the variable {}, which is not set or empty, so it is taken literally.",
                     escapedForTerminal(text), escapedForTerminal(*name));
}

void addRules(BuiltScanRequest& built, const ScanChoices& choices) {
  ScanRequest& request = built.request;
  RuleSources sources = choices.usesOwnRules ? personalRules(request.resolver) : RuleSources{};
  sources.files = choices.rulesFiles;
  sources.disabledRules.insert(sources.disabledRules.end(), choices.disabledRules.begin(), choices.disabledRules.end());
  ChosenCatalog chosen = makeCatalog(sources);
  request.offPacks = packsBeside(sources.packs);
  request.catalog = std::move(chosen.catalog);
  request.wholeCatalog = std::move(chosen.whole);
  built.notes.insert(built.notes.end(), chosen.notes.begin(), chosen.notes.end());
}

void addNamedExclusions(BuiltScanRequest& built, const ScanChoices& choices) {
  const TidraPathResolver& resolver = built.request.resolver;
  std::vector<ExclusionEntry> entries;
  const auto use = std::make_shared<ExclusionUse>();
  for (const auto& [given, read] : choices.exclusions) {
    auto note = noteOn(read, resolver);
    entries.push_back({.id = {}, .pathDisplay = read.text, .kind = read.kind, .addedAt = {}});
    if (!note) use->add(given, makeExclusionFilter({entries.back()}, resolver));
    if (note) built.notes.push_back(std::move(*note));
  }
  built.request.exclusions = makeExclusionFilter(entries, resolver);
  built.request.exclusions.use = use;
}

/// An unreadable store is a warning, nothing more.
void addStoredExclusions(BuiltScanRequest& built) {
  const TidraPathResolver& resolver = built.request.resolver;
  const auto warn = [&](const std::string& text) { built.warnings.push_back(escapedForTerminal(text)); };
  try {
    const auto preferences = openPreferences(resolver, warn);
    const auto entries = ExclusionsStore(*preferences, warn).load();
    for (const ExclusionEntry& entry : entries) {
      if (auto note = noteOnVariable(entry.pathDisplay, resolver)) built.notes.push_back(std::move(*note));
    }
    const auto kept = makeExclusionFilter(entries, resolver);
    auto& exclusions = built.request.exclusions;
    exclusions.use->addUnwatched(kept);
    exclusions.pathPrefixes.insert(exclusions.pathPrefixes.end(), kept.pathPrefixes.begin(), kept.pathPrefixes.end());
    exclusions.globPatterns.insert(exclusions.globPatterns.end(), kept.globPatterns.begin(), kept.globPatterns.end());
  } catch (const PreferencesError& error) {
    warn(fmt::format("{} The exclusions stored there are ignored.", error.what()));
  }
}

void addFindingChoices(ScanRequest& request, const FindingChoices& choices, const TidraAppSettings& settings) {
  request.categories = chosenCategories(choices, request.catalog);
  const auto off = switchedOff(settings.systemScanEnabled);
  request.categoriesOff = {off.begin(), off.end()};
  request.ecosystems = chosenEcosystems(choices, settings, request.catalog);
  request.tiers = chosenTiers(choices);
  if (choices.minimumSize) request.minimumBytes = unsignedBytes(parseSize(*choices.minimumSize));
  if (choices.olderThan) request.olderThan = parseAge(*choices.olderThan);
}

}  // namespace

void requireScannable(const std::string& path, const std::string& named) {
  const auto opened = openDirectory(path);
  if (opened || opened.failure() == std::errc::permission_denied) return;
  const std::string shown = escapedForTerminal(named);
  if (opened.failure() == std::errc::no_such_file_or_directory) {
    throw InputError(fmt::format("'{}' does not exist; name a folder to scan.", shown));
  }
  if (opened.failure() == std::errc::not_a_directory) {
    throw InputError(fmt::format("'{}' is not a folder; name the folder that holds it.", shown));
  }
  throw InputError(fmt::format("'{}' cannot be opened: {}.", shown, opened.failure().message()));
}

std::string defaultScanRoot(const TidraAppSettings& settings, const TidraPathResolver& resolver) {
  auto root = TidraScanRootResolver::resolve(settings.defaultScanLocation, settings.customScanPath, resolver);
  requireScannable(root.path, root.path);
  return std::move(root.path);
}

std::optional<std::string> noteOn(const TypedExclusion& typed, const TidraPathResolver& resolver) {
  if (auto note = noteOnVariable(typed.text, resolver)) return note;
  const bool isName = typed.kind == ExclusionRowKind::pattern && typed.text.find('/') == std::string::npos;
  if (typed.note || !isName || !isGlob(typed.text)) return typed.note;
  return fmt::format("'{0}' matches names only, so it protects nothing inside an artefact; '*/{0}' does.",
                     escapedForTerminal(typed.text));
}

BuiltScanRequest buildScanRequest(const ScanChoices& choices, const TidraAppSettings& settings,
                                  const TidraPathResolver& resolver, TimePoint now) {
  BuiltScanRequest built;
  ScanRequest& request = built.request;
  request.resolver = resolver;
  request.roots = choices.roots;
  if (request.roots.empty()) request.roots.push_back(defaultScanRoot(settings, resolver));
  addRules(built, choices);
  request.host = TidraHost::name(resolver.environment);
  request.mounts = mountPoints();
  request.git = TidraGitMetadataReader::findGit(resolver.environment);
  request.scanProjects = choices.scansProjects;
  request.scanSystem = choices.scansSystem;
  // Only a named folder bounds a scan.
  if (choices.reachesEverywhere || choices.roots.empty()) request.systemReach = SystemReach::everywhere;
  request.thresholds = settings.thresholds();
  addNamedExclusions(built, choices);
  addStoredExclusions(built);
  addFindingChoices(request, choices.findings, settings);
  request.oneFileSystem = choices.oneFileSystem;
  request.workers = choices.workers;
  request.now = now;
  return built;
}

}  // namespace tidra
