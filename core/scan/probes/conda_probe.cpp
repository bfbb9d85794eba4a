#include "core/scan/probes/conda_probe.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <set>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/model/system_group_root.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

struct CleanTarget {
  const char* path;
  const char* option;
  const char* label;
};

constexpr std::array cleanTargets{
    CleanTarget{"conda:clean:packages", "--packages", "Conda unused packages"},
    CleanTarget{"conda:clean:tarballs", "--tarballs", "Conda tarballs"},
    CleanTarget{"conda:clean:index-cache", "--index-cache", "Conda index cache"},
};

/// Returns the first decimal number before `unit`, with optional blanks in between.
std::optional<double> firstNumberBefore(std::string_view text, std::string_view unit) {
  constexpr std::string_view digits = "0123456789";
  for (auto place = text.find(unit); place != std::string_view::npos; place = text.find(unit, place + 1)) {
    const auto last = text.substr(0, place).find_last_not_of(" \t\r\n");
    if (last == std::string_view::npos || digits.find(text[last]) == std::string_view::npos) continue;
    const auto before = text.substr(0, last + 1).find_last_not_of("0123456789.");
    std::string number(text.substr(before == std::string_view::npos ? 0 : before + 1));
    number.resize(last + 1 - (before == std::string_view::npos ? 0 : before + 1));
    // Only "2.3" of "1.2.3" is a number.
    while (std::count(number.begin(), number.end(), '.') > 1) number.erase(0, number.find('.') + 1);
    if (number.starts_with('.')) number.erase(0, 1);
    return std::strtod(number.c_str(), nullptr);
  }
  return std::nullopt;
}

std::optional<std::uint64_t> bytesOf(double bytes) {
  constexpr double mostBytes = 9e18;
  if (bytes > mostBytes || !isPlausibleSize(static_cast<std::uint64_t>(bytes))) return std::nullopt;
  return static_cast<std::uint64_t>(bytes);
}

class CondaQuery {
 public:
  CondaQuery(const SystemProbeContext& context, const std::string& conda)
      : context_(context),
        questions_(context, conda, CondaProbe::timeoutSeconds, true),
        group_(TidraSystemGroupRoot::forCategory("python")) {}

  ProbeReport run() {
    const auto base = ask({"info", "--base"});
    if (!base || !base->starts_with('/') || base->find('\n') != std::string::npos) {
      report_.notes.push_back("Conda is installed but did not answer.");
      return report_;
    }
    addEnvironments(standardizedPath(*base));
    for (const CleanTarget& target : cleanTargets) addCleanTarget(target, standardizedPath(*base));
    if (auto note = questions_.note()) report_.notes.push_back(std::move(*note));
    return report_;
  }

 private:
  std::optional<std::string> ask(std::vector<std::string> arguments) { return questions_.ask(std::move(arguments)); }

  void addEnvironments(const std::string& base) {
    const auto listed = ask({"env", "list", "--json"});
    if (!listed) return;
    std::vector<std::string> paths;
    try {
      const auto document = parseForeignJson(*listed, "conda");
      paths = JsonObjectReader(document, "conda").valueOr("envs", std::vector<std::string>{});
    } catch (const DecodingError&) {
      return;
    }
    std::set<std::string> folders;
    std::map<std::string, int> bearers;
    for (const std::string& path : paths) {
      if (!path.starts_with('/')) continue;
      const std::string folder = standardizedPath(path);
      if (lastPathComponent(parentPath(folder)) != "envs" || !folders.insert(folder).second) continue;
      ++bearers[std::string(lastPathComponent(folder))];
    }
    for (const std::string& folder : folders) {
      if (bearers.at(std::string(lastPathComponent(folder))) == 1 && isRemovable(folder, base)) addEnvironment(folder);
    }
  }

  /// Environments are removed by name: requires an unambiguous, valid name in an "envs" folder. Never the base
  /// environment or the active one.
  bool isRemovable(const std::string& folder, const std::string& base) const {
    const auto name = lastPathComponent(folder);
    const auto isRefused = [](unsigned char c) { return c <= ' ' || c == 0x7f || c == ':' || c == '#'; };
    if (name.starts_with('-') || std::any_of(name.begin(), name.end(), isRefused)) return false;
    if (folder == base || name == "base" || name == "root") return false;
    const auto active = context_.resolver.environment.find("CONDA_PREFIX");
    const bool inUse = active != context_.resolver.environment.end() && active->second.starts_with('/') &&
                       standardizedPath(active->second) == folder;
    return !inUse && ProbeFiles::isFolder(folder) && !context_.exclusionFilter.bars(folder);
  }

  void addEnvironment(const std::string& folder) {
    const std::string name(lastPathComponent(folder));
    auto item = makeItem("conda-env", "conda:env:" + name, "conda env: " + name, ArtifactSafetyTier::caution,
                         "conda env create -f environment.yml if you exported one");
    item.finding.lastActivityDate = ProbeFiles::modified(joinedPath(folder, "conda-meta/history"));
    if (!item.finding.lastActivityDate) item.finding.lastActivityDate = ProbeFiles::modified(folder);
    item.measuredFolder = folder;
    report_.items.push_back(std::move(item));
  }

  void addCleanTarget(const CleanTarget& target, const std::string& base) {
    const auto announced = ask({"clean", target.option, "--dry-run", "-y"});
    if (!announced) return;
    auto item = makeItem("conda-clean", target.path, target.label, ArtifactSafetyTier::safe, std::nullopt);
    const auto bytes = CondaProbe::parseCleanSize(*announced);
    if (bytes) {
      item.finding.sizeBytes = *bytes;
    } else if (asciiLowered(*announced).find("index cache") != std::string::npos) {
      // Conda prints no size for the index cache.
      item.measuredFolder = joinedPath(base, "pkgs/cache");
    } else {
      return;
    }
    report_.items.push_back(std::move(item));
  }

  ProbeItem makeItem(const char* id, std::string path, std::string label, ArtifactSafetyTier tier,
                     std::optional<std::string> hint) const {
    return {{.path = std::move(path),
             .label = std::move(label),
             .sizeBytes = 0,
             .ecosystemTag = "py",
             .groupRoot = group_,
             .source = ArtifactSource::condaCLI,
             .safetyTier = tier,
             .restoreHint = std::move(hint),
             .lastActivityDate = std::nullopt,
             .ruleID = id},
            std::nullopt};
  }

  const SystemProbeContext& context_;
  ToolQuestions questions_;
  std::string group_;
  ProbeReport report_;
};

}  // namespace

std::optional<std::string> CondaProbe::find(const TidraPathResolver& resolver) {
  if (auto found = ProcessRunner::which("conda", resolver.environment)) return found;
  for (const char* usual : {"miniconda3", "anaconda3", "miniforge3", "mambaforge", "micromamba"}) {
    std::string path = joinedPath(joinedPath(resolver.home, usual), "bin/conda");
    if (ProcessRunner::isTrusted(path)) return path;
  }
  return std::nullopt;
}

std::optional<std::uint64_t> CondaProbe::parseCleanSize(std::string_view output) {
  const std::string text = asciiLowered(output);
  if (text.find("there are no") != std::string::npos || text.find("nothing to") != std::string::npos) return 0;
  // The first size in megabytes takes precedence over gigabytes.
  if (const auto megabytes = firstNumberBefore(text, "mb")) return bytesOf(*megabytes * 1048576.0);
  if (const auto gigabytes = firstNumberBefore(text, "gb")) return bytesOf(*gigabytes * 1073741824.0);
  return std::nullopt;
}

ProbeReport CondaProbe::scan(const SystemProbeContext& context) const {
  const auto conda = find(context.resolver);
  if (!conda) return {};
  return CondaQuery(context, *conda).run();
}

}  // namespace tidra
