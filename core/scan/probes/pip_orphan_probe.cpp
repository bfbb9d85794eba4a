// For each environment: read what the project requires, ask the environment's pip what is installed, follow the
// installed metadata from what is required to everything that needs, and report the rest.
#include "core/scan/probes/pip_orphan_probe.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/model/system_group_root.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/probes/python_requirements.h"

namespace tidra {
namespace {

constexpr std::size_t longestMetadata = 4 * 1024 * 1024;

/// What environments are made with.
constexpr std::array keptPackages{
    std::string_view{"pip"},        std::string_view{"setuptools"},    std::string_view{"wheel"},
    std::string_view{"distribute"}, std::string_view{"pkg-resources"}, std::string_view{"pip-tools"},
    std::string_view{"uv"},         std::string_view{"virtualenv"}};

bool isKept(const std::string& name) {
  return std::find(keptPackages.begin(), keptPackages.end(), name) != keptPackages.end();
}

/// The names in "requirements.txt" and "requirements-dev.txt"; none when there is neither, or when one cannot be
/// understood.
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

/// Normalised names as pip lists them.
struct PipListing {
  std::set<std::string> all;
  std::set<std::string> editable;  // installed from a folder that somebody works on
};

std::optional<PipListing> listedByPip(const std::string& environment, const SystemProbeContext& context) {
  const auto output = context.output(joinedPath(environment, "bin/pip"),
                                     {"list", "--format=json", "--disable-pip-version-check", "--no-input"},
                                     PipOrphanProbe::timeoutSeconds);
  if (!output) return std::nullopt;
  PipListing listing;
  try {
    const auto document = parseJson(*output, "pip");
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

/// Adds up the third column of a RECORD file.
std::uint64_t recordedBytes(const std::string& record) {
  const auto text = readRegularFile(record, longestMetadata);
  std::uint64_t bytes = 0;
  if (!text) return bytes;
  for (const std::string_view line : splitNonEmpty(*text, '\n')) {
    const auto column =
        trimmed(line.substr(line.rfind(',') == std::string_view::npos ? line.size() : line.rfind(',') + 1));
    std::uint64_t size = 0;
    const auto [end, error] = std::from_chars(column.data(), column.data() + column.size(), size);
    constexpr std::uint64_t largestFile = std::uint64_t{1} << 40U;
    if (error == std::errc{} && end == column.data() + column.size() && size < largestFile) bytes += size;
  }
  return bytes;
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
  // The older form keeps dependencies in a file of their own, those of extras below "[extra]" headings.
  const auto requires_ = readRegularFile(joinedPath(folder, "requires.txt"), longestMetadata);
  for (const std::string_view line : requires_ ? split(*requires_, '\n') : std::vector<std::string_view>{}) {
    if (const auto name = requirementName(line)) package.dependencies.insert(*name);
  }
  // Packages that an older installer put there keep their dependencies apart, in sections of extras.
  const auto separate = readRegularFile(joinedPath(folder, "requires.txt"), longestMetadata);
  for (const std::string_view line : split(separate ? std::string_view(*separate) : "", '\n')) {
    if (const auto name = requirementName(line)) package.dependencies.insert(*name);
  }
  package.bytes = recordedBytes(joinedPath(folder, "RECORD"));
  return package;
}

/// The finding for one environment; none when nothing is unused or when it cannot be told.
std::optional<ProbeItem> check(const ScanArtifactFinding& environment, const SystemProbeContext& context) {
  auto required = requiredBy(*environment.groupRoot);
  if (!required || !PipOrphanProbe::isTrustworthy(environment.path)) return std::nullopt;
  const auto listed = listedByPip(environment.path, context);
  if (!listed) return std::nullopt;
  required->insert(listed->editable.begin(), listed->editable.end());
  const auto installed = PipOrphanProbe::installedPackages(environment.path);
  const auto unused = PipOrphanProbe::unusedPackages(listed->all, *required, installed);
  if (!unused || unused->empty()) return std::nullopt;
  std::vector<std::string> names;
  std::uint64_t bytes = 0;
  for (const std::string& name : *unused) {
    const auto& package = installed.at(name);
    names.push_back(package.name);
    bytes += package.bytes;
  }
  return ProbeItem{{.path = "pip:orphan:" + environment.path,
                    .label = fmt::format("Unused pip packages ({})", names.size()),
                    .sizeBytes = bytes,
                    .ecosystemTag = "py",
                    .groupRoot = TidraSystemGroupRoot::forCategory("python"),
                    .source = ArtifactSource::pipCLI,
                    .safetyTier = ArtifactSafetyTier::caution,
                    .restoreHint = "pip install to restore: " + joined(names, ", "),
                    .lastActivityDate = ProbeFiles::modified(environment.path),
                    .ruleID = std::nullopt},
                   std::nullopt};
}

}  // namespace

ProbeReport PipOrphanProbe::scan(const std::vector<ScanArtifactFinding>& projects, const SystemProbeContext& context) {
  ProbeReport report;
  for (const ScanArtifactFinding& finding : projects) {
    if (context.shouldCancel && context.shouldCancel()) break;
    const bool isEnvironment =
        finding.ecosystemTag == "py" && finding.groupRoot && isExecutableFile(joinedPath(finding.path, "bin/pip"));
    if (!isEnvironment) continue;
    if (auto item = check(finding, context)) report.items.push_back(std::move(*item));
  }
  return report;
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

bool PipOrphanProbe::isTrustworthy(const std::string& environment) {
  constexpr std::size_t longestStart = 4096;
  const std::string pip = joinedPath(environment, "bin/pip");
  if (!isOwnedAndPrivate(environment) || !isOwnedAndPrivate(joinedPath(environment, "bin")) ||
      !isOwnedAndPrivate(pip)) {
    return false;
  }
  const auto text = readRegularFile(pip, longestMetadata);
  return text && text->substr(0, longestStart).find(environment + "/bin/python") != std::string::npos;
}

}  // namespace tidra
