// For each environment: read the project's requirements and the metadata of installed packages; compute the transitive
// closure of the requirements. Only if packages remain, run the environment's pip, which also knows system and editable
// packages, and report what still remains.
#include "core/scan/probes/pip_orphan_probe.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "core/base/byte_units.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "core/model/system_group_root.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/spare_threads.h"
#include "core/scan/probes/pip_trust.h"
#include "core/scan/probes/python_requirements.h"

namespace tidra {
namespace {

constexpr std::size_t longestMetadata = 4_MiB;

/// Packages that environments are created with.
constexpr std::array keptPackages{
    std::string_view{"pip"},        std::string_view{"setuptools"},    std::string_view{"wheel"},
    std::string_view{"distribute"}, std::string_view{"pkg-resources"}, std::string_view{"pip-tools"},
    std::string_view{"uv"},         std::string_view{"virtualenv"}};

bool isKept(const std::string& name) {
  return std::find(keptPackages.begin(), keptPackages.end(), name) != keptPackages.end();
}

/// Returns the names in "requirements.txt" and "requirements-dev.txt"; nullopt if both are missing or one cannot be
/// parsed.
std::optional<std::set<std::string>> requiredBy(const std::string& project) {
  std::set<std::string> required;
  bool any = false;
  for (const char* file : {"requirements.txt", "requirements-dev.txt"}) {
    const std::string path = joinedPath(project, file);
    if (!followedFacts(path)) continue;
    const auto names = readRequirements(path);
    if (!names) return std::nullopt;
    required.insert(names->begin(), names->end());
    any = true;
  }
  return any ? std::optional(required) : std::nullopt;
}

/// Normalised names from "pip list".
struct PipListing {
  std::set<std::string> all;
  std::set<std::string> editable;  // installed from a working folder
};

std::optional<PipListing> readListing(const std::string& output) {
  PipListing listing;
  try {
    const auto document = parseForeignJson(output, "pip");
    requireArray(document, "pip");
    for (const auto& entry : document) {
      const JsonObjectReader package(entry, "pip");
      const auto name = requirementName(package.required<std::string>("name"));
      if (!name) return std::nullopt;
      listing.all.insert(*name);
      if (package.optional<std::string>("editable_project_location")) listing.editable.insert(*name);
    }
  } catch (const DecodingError&) {
    return std::nullopt;
  }
  return listing;
}

/// Sums the third column of a RECORD file.
std::uint64_t recordedBytes(const std::string& record) {
  const auto text = readRegularFile(record, longestMetadata);
  std::uint64_t bytes = 0;
  if (!text) return bytes;
  for (const std::string_view line : splitNonEmpty(*text, '\n')) {
    const auto column =
        trimmed(line.substr(line.rfind(',') == std::string_view::npos ? line.size() : line.rfind(',') + 1));
    const auto size = wholeNumber<std::uint64_t>(column);
    if (size && isPlausibleSize(*size)) bytes += *size;
  }
  return isPlausibleSize(bytes) ? bytes : 0;
}

std::optional<PipOrphanProbe::InstalledPackage> readPackage(const std::string& folder) {
  auto text = readRegularFile(joinedPath(folder, "METADATA"), longestMetadata);
  if (!text) text = readRegularFile(joinedPath(folder, "PKG-INFO"), longestMetadata);
  if (!text) return std::nullopt;
  PipOrphanProbe::InstalledPackage package;
  for (const std::string_view line : split(*text, '\n')) {
    if (trimmed(line).empty()) break;  // the description follows
    if (line.starts_with("Name:")) package.name = trimmed(line.substr(5));
    if (!line.starts_with("Requires-Dist:")) continue;
    if (const auto name = requirementName(line.substr(14))) package.dependencies.insert(*name);
  }
  // The egg-info format lists dependencies in a separate file, those of extras below "[extra]" headings.
  const auto listed = readRegularFile(joinedPath(folder, "requires.txt"), longestMetadata);
  for (const std::string_view line : listed ? split(*listed, '\n') : std::vector<std::string_view>{}) {
    if (const auto name = requirementName(line)) package.dependencies.insert(*name);
  }
  package.bytes = recordedBytes(joinedPath(folder, "RECORD"));
  return package;
}

using Packages = std::map<std::string, PipOrphanProbe::InstalledPackage>;

ProbeItem makeItem(const std::string& environment, const std::vector<std::string>& unused, const Packages& installed) {
  std::vector<std::string> names;
  std::uint64_t bytes = 0;
  for (const std::string& name : unused) {
    const auto& package = installed.at(name);
    names.push_back(package.name);
    bytes += package.bytes;
  }
  return {{.path = std::string(pipTargetPrefix) + environment,
           .label = fmt::format("Unused pip packages ({})", names.size()),
           .sizeBytes = isPlausibleSize(bytes) ? bytes : 0,
           .ecosystemTag = "py",
           .groupRoot = TidraSystemGroupRoot::forCategory("python"),
           .source = ArtifactSource::pipCLI,
           .safetyTier = ArtifactSafetyTier::caution,
           .restoreHint = "pip install to restore: " + joined(names, ", "),
           .lastActivityDate = ProbeFiles::modified(environment),
           .ruleID = std::nullopt,
           // Its removal empties pip's download cache and leaves the packages.
           .freeableBytes = 0},
          std::nullopt};
}

/// Result for one environment.
struct Checked {
  std::optional<ProbeItem> item;  // absent when nothing is unused or it cannot be determined
  bool hung = false;
};

Checked check(const ScanArtifactFinding& environment, const SystemProbeContext& context) {
  auto required = requiredBy(*environment.groupRoot);
  if (!required || context.exclusionFilter.bars(std::string(pipTargetPrefix) + environment.path)) return {};
  const auto installed = PipOrphanProbe::installedPackages(environment.path);
  std::set<std::string> names;
  for (const auto& [name, package] : installed) names.insert(name);
  // Cheap check first: pip can only reduce this list.
  const auto expected = PipOrphanProbe::unusedPackages(names, *required, installed);
  if (!expected || expected->empty() || !PipOrphanProbe::isTrustworthy(environment.path, context.resolver)) return {};

  const auto answer = context.ask(joinedPath(environment.path, "bin/pip"),
                                  {"list", "--format=json", "--disable-pip-version-check", "--no-input"},
                                  PipOrphanProbe::timeoutSeconds);
  if (!answer.text) return {std::nullopt, answer.hung};
  const auto listed = readListing(*answer.text);
  if (!listed) return {};
  required->insert(listed->editable.begin(), listed->editable.end());
  const auto unused = PipOrphanProbe::unusedPackages(listed->all, *required, installed);
  if (!unused || unused->empty()) return {};
  return {makeItem(environment.path, *unused, installed), false};
}

/// Workers take environments until none is left; a worker stops after a hanging pip.
class Checks {
 public:
  Checks(const std::vector<const ScanArtifactFinding*>& environments, const SystemProbeContext& context)
      : environments_(environments), context_(context), checked_(environments.size()) {}

  void run() {
    while (!context_.isCancelled()) {
      const std::size_t mine = next_++;
      if (mine >= environments_.size()) return;
      checked_[mine] = check(*environments_[mine], context_);
      if (checked_[mine].hung) return;
    }
  }

  ProbeReport report() {
    ProbeReport report;
    for (std::size_t i = 0; i < checked_.size(); ++i) {
      if (checked_[i].item) report.items.push_back(std::move(*checked_[i].item));
      if (checked_[i].hung) {
        report.notes.push_back(fmt::format("The pip of {} did not answer within {} seconds.",
                                           escapedForTerminal(context_.resolver.displayPath(environments_[i]->path)),
                                           PipOrphanProbe::timeoutSeconds));
      }
    }
    if (!context_.isCancelled() && next_ < environments_.size()) {
      report.notes.push_back(fmt::format("Because of that, {} environments were not checked for unused packages.",
                                         environments_.size() - next_));
    }
    return report;
  }

 private:
  const std::vector<const ScanArtifactFinding*>& environments_;
  const SystemProbeContext& context_;
  std::vector<Checked> checked_;
  std::atomic<std::size_t> next_{0};
};

}  // namespace

ProbeReport PipOrphanProbe::scan(const std::vector<FoundArtifact>& projects, const SystemProbeContext& context) {
  std::vector<const ScanArtifactFinding*> environments;
  for (const auto& found : projects) {
    const ScanArtifactFinding& finding = found.finding;
    const bool isEnvironment =
        finding.ecosystemTag == "py" && finding.groupRoot && isExecutableFile(joinedPath(finding.path, "bin/pip"));
    if (isEnvironment) environments.push_back(&finding);
  }
  Checks checks(environments, context);
  runOnThreads(std::min(asksAtOnce, environments.size()), [&] { checks.run(); });
  return checks.report();
}

std::optional<std::vector<std::string>> PipOrphanProbe::unusedPackages(
    const std::set<std::string>& listed, const std::set<std::string>& required,
    const std::map<std::string, InstalledPackage>& installed) {
  std::set<std::string> needed;
  std::vector<std::string> open(required.begin(), required.end());
  while (!open.empty()) {
    const std::string name = std::move(open.back());
    open.pop_back();
    if (!listed.contains(name) || !needed.insert(name).second) continue;
    const auto package = installed.find(name);
    if (package == installed.end()) return std::nullopt;
    open.insert(open.end(), package->second.dependencies.begin(), package->second.dependencies.end());
  }
  std::vector<std::string> unused;
  for (const std::string& name : listed) {
    if (!needed.contains(name) && !isKept(name) && installed.contains(name)) unused.push_back(name);
  }
  return unused;
}

std::map<std::string, PipOrphanProbe::InstalledPackage> PipOrphanProbe::installedPackages(
    const std::string& environment) {
  std::map<std::string, InstalledPackage> packages;
  const std::string libraries = joinedPath(environment, "lib");
  for (const std::string& python : ProbeFiles::subfolderNames(libraries)) {
    const std::string site = joinedPath(joinedPath(libraries, python), "site-packages");
    for (const std::string& name : ProbeFiles::subfolderNames(site)) {
      if (!name.ends_with(".dist-info") && !name.ends_with(".egg-info")) continue;
      if (auto package = readPackage(joinedPath(site, name))) {
        packages.emplace(normalizedPackageName(package->name), std::move(*package));
      }
    }
  }
  return packages;
}

bool PipOrphanProbe::isTrustworthy(const std::string& environment, const TidraPathResolver& resolver) {
  return PipTrust::mayRun(environment, {TidraGitMetadataReader::findGit(resolver.environment), resolver});
}

}  // namespace tidra
