#include "fleet/agent/evaluation/resolved_policy.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_entry.h"

namespace tidra {
namespace {

/// Resolves the path of a key.
std::string resolved(const std::string& key, const std::string& path, const TidraPathResolver& resolver) {
  if (trimmed(path).empty()) {
    throw InputError(fmt::format("{} is empty; name a path, or leave the key out.", escapedForTerminal(key)));
  }
  if (auto absolute = resolver.resolve(path)) return *absolute;
  throw InputError(fmt::format("{} '{}' names a variable that is not set or empty; set it, or write the path out.", key,
                               escapedForTerminal(path)));
}

std::string resolvedOr(const std::string& key, const std::optional<std::string>& path, std::string_view ownFile,
                       const TidraPathResolver& resolver) {
  return path ? resolved(key, *path, resolver) : joinedPath(resolver.home, ownFile);
}

std::vector<std::string> resolvedAll(const std::string& key, const std::vector<std::string>& paths,
                                     const TidraPathResolver& resolver) {
  std::vector<std::string> absolute;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    absolute.push_back(resolved(fmt::format("{}[{}]", key, i), paths[i], resolver));
  }
  return absolute;
}

/// Parses an address; none when it is invalid.
std::optional<ListenAddress> parsedAddress(std::string_view text) {
  const auto colon = text.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const auto port = wholeNumber<std::uint16_t>(text.substr(colon + 1));
  if (!port) return std::nullopt;
  ListenAddress address{std::string(text.substr(0, colon)), *port};
  if (address.host.empty()) address.host = "0.0.0.0";
  return address;
}

/// The paths that the agent writes to, with their keys; empty when unset.
std::array<std::pair<std::string_view, std::string>, 4> writtenPaths(const ResolvedPolicy& made) {
  return {{{"audit.path", made.auditPath},
           {"lockFile", made.lockPath},
           {"metrics.textfile", made.textfile.value_or("")},
           {"disposal.quarantineDir", made.quarantine.directory}}};
}

/// Throws when two of them are the same file.
void requireOwnFiles(const ResolvedPolicy& made) {
  const auto files = writtenPaths(made);
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files[i].second == "/") throw InputError(fmt::format("{} is '/'; name a place of its own.", files[i].first));
    for (std::size_t j = 0; j < i; ++j) {
      if (files[i].second != files[j].second) continue;
      throw InputError(fmt::format("{} and {} are the same file '{}'; give each its own.", files[j].first,
                                   files[i].first, escapedForTerminal(files[i].second)));
    }
  }
}

/// Throws for paths that collide with the agent's files beside the audit log.
void requireOutsideLogFiles(const ResolvedPolicy& made) {
  for (const std::string_view suffix : {".checkpoint", ".policy", ".unsent"}) {
    const std::string kept = made.auditPath + std::string(suffix);
    for (const auto& [key, place] : writtenPaths(made)) {
      if (place != kept && !place.starts_with(kept + "/")) continue;
      throw InputError(fmt::format("{} '{}' is where a file of the audit log belongs; choose another place.", key,
                                   escapedForTerminal(place)));
    }
  }
}

/// Notes patterns that match nothing.
void noteDeadPatterns(const std::string& key, const std::vector<std::string>& texts, const TidraPathResolver& resolver,
                      std::vector<std::string>& notes) {
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string expanded = resolver.expandVariables(texts[i]);
    const std::string shown = escapedForTerminal(texts[i]);
    if (trimmed(texts[i]).empty()) {
      notes.push_back(fmt::format("{}[{}] is empty and matches nothing.", key, i));
    } else if (expanded.find('$') != std::string::npos) {
      notes.push_back(
          fmt::format("{}[{}] '{}' names a variable that is not set or empty and matches nothing.", key, i, shown));
    } else if (expanded.starts_with("./") || expanded.starts_with("../") ||
               ((!looksLikePath(expanded) || isGlob(expanded)) && expanded.find("/../") != std::string::npos)) {
      notes.push_back(fmt::format("{}[{}] '{}' matches nothing; begin it with / or ~.", key, i, shown));
    } else if (trimmed(texts[i]) != texts[i]) {
      notes.push_back(
          fmt::format("{}[{}] '{}' is surrounded by blanks, which are significant; remove them.", key, i, shown));
    } else if (texts[i].starts_with('~') && texts[i].size() > 1 && texts[i][1] != '/') {
      notes.push_back(fmt::format("{}[{}] '{}' is a name: only ~ itself stands for a home folder.", key, i, shown));
    }
  }
}

}  // namespace

ListenAddress ListenAddress::parse(std::string_view text) { return parsedAddress(text).value_or(ListenAddress{}); }

TidraScanExclusionFilter makePolicyFilter(const std::vector<std::string>& texts, const TidraPathResolver& resolver) {
  TidraScanExclusionFilter filter;
  for (const std::string& text : texts) {
    if (!trimmed(text).empty()) addExclusion(filter, text, resolver, false);
  }
  return filter;
}

void ResolvedPolicy::requireApartFrom(const std::string& policyFile) const {
  const auto policy = realPath(policyFile);
  if (!policy) return;
  for (const auto& [key, file] : writtenPaths(*this)) {
    const auto real = realPath(file);
    if (!real || *real != *policy) continue;
    throw InputError(fmt::format("{} '{}' is the policy file itself; name another.", key, escapedForTerminal(file)));
  }
}

ResolvedPolicy ResolvedPolicy::make(const FleetPolicy& policy, const TidraPathResolver& host) {
  ResolvedPolicy made;
  made.resolver = host;
  if (policy.scan.home) made.resolver.home = resolved("scan.home", *policy.scan.home, host);
  const TidraPathResolver& resolver = made.resolver;
  made.roots = resolvedAll("scan.roots", policy.scan.roots, resolver);
  made.extraRules = resolvedAll("scan.extraRules", policy.scan.extraRules, resolver);
  made.exclude = makePolicyFilter(policy.scan.exclude, resolver);
  made.auditPath = resolvedOr("audit.path", policy.audit.path, ".tidra/audit.jsonl", resolver);
  made.lockPath = resolvedOr("lockFile", policy.lockFile, ".tidra/fleet.lock", resolver);
  if (policy.disposal.quarantineDir) {
    made.quarantine.directory = resolved("disposal.quarantineDir", *policy.disposal.quarantineDir, resolver);
  } else {
    made.quarantine = QuarantineConfig::makeDefault(resolver);
  }
  made.quarantine.retentionDays = policy.disposal.retentionDays;
  if (policy.metrics.textfile) made.textfile = resolved("metrics.textfile", *policy.metrics.textfile, resolver);
  requireOwnFiles(made);
  requireOutsideLogFiles(made);
  if (policy.metrics.listen) {
    const auto address = parsedAddress(*policy.metrics.listen);
    made.listen = address.value_or(ListenAddress{});
    if (!address) {
      made.notes.push_back(fmt::format("metrics.listen '{}' is not a host and port; {}:{} is used.",
                                       escapedForTerminal(*policy.metrics.listen), made.listen.host, made.listen.port));
    }
  }
  noteDeadPatterns("scan.exclude", policy.scan.exclude, resolver, made.notes);
  noteDeadPatterns("never.paths", policy.never.paths, resolver, made.notes);
  return made;
}

}  // namespace tidra
