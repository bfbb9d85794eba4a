#include "core/scan/probes/apple_probes.h"

#include <nlohmann/json.hpp>

#include "core/base/json_fields.h"
#include "core/model/scan_activity_classification.h"
#include "core/model/system_group_root.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

ProbeItem makeItem(std::string id, const std::string& path, std::string label, ArtifactSafetyTier tier,
                   const char* hint, std::optional<TimePoint> activity) {
  ProbeItem item;
  item.finding = {.path = path,
                  .label = std::move(label),
                  .sizeBytes = 0,
                  .ecosystemTag = "swift",
                  .groupRoot = TidraSystemGroupRoot::forCategory("xcode"),
                  .source = ArtifactSource::systemProbe,
                  .safetyTier = tier,
                  .restoreHint = hint,
                  .lastActivityDate = activity,
                  .ruleID = std::move(id)};
  item.measuredFolder = path;
  item.enterBundles = true;
  return item;
}

void addArchives(ProbeReport& report, const SystemProbeContext& context, const std::string& folder, int levels) {
  constexpr std::string_view extension = ".xcarchive";
  for (const std::string& name : ProbeFiles::subfolderNames(folder)) {
    const std::string path = joinedPath(folder, name);
    if (!name.ends_with(extension)) {
      if (levels > 0) addArchives(report, context, path, levels - 1);
      continue;
    }
    if (context.exclusionFilter.bars(path)) continue;
    const auto modified = ProbeFiles::modified(path);
    constexpr std::size_t dayLength = 10;
    std::string label = name.substr(0, name.size() - extension.size());
    if (modified) label += " " + iso8601(*modified).substr(0, dayLength);
    report.items.push_back(makeItem("xcode-archive", path, std::move(label), ArtifactSafetyTier::warning,
                                    "Cannot be restored — re-archive from Xcode if needed", modified));
  }
}

struct Simulator {
  std::string udid;
  std::string name;
  bool isAvailable = true;
  std::optional<TimePoint> lastBooted;
};

bool isDeviceName(const std::string& udid) {
  return !udid.empty() && udid.find_first_not_of("0123456789ABCDEFabcdef-") == std::string::npos;
}

/// Returns a field's value, nullopt if it has another type.
template <class T>
std::optional<T> tolerated(const JsonObjectReader& object, const char* key) {
  try {
    return object.optional<T>(key);
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

/// Depending on its release, simctl prints a boolean, "YES" or "NO", or a text.
bool isAvailable(const JsonObjectReader& device) {
  if (const auto flag = tolerated<bool>(device, "isAvailable")) return *flag;
  if (const auto word = tolerated<std::string>(device, "isAvailable")) return *word != "NO";
  return tolerated<std::string>(device, "availability").value_or("").find("unavailable") == std::string::npos;
}

/// Parses one device; nullopt without the required fields.
std::optional<Simulator> readSimulator(const nlohmann::json& value) {
  try {
    const JsonObjectReader object(value, "device");
    Simulator simulator{object.required<std::string>("udid"), object.required<std::string>("name"), isAvailable(object),
                        tolerated<TimePoint>(object, "lastBootedAt")};
    if (!isDeviceName(simulator.udid)) return std::nullopt;
    return simulator;
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

std::vector<Simulator> readSimulators(const std::string& text) {
  std::vector<Simulator> simulators;
  try {
    const auto document = parseForeignJson(text, "simctl");
    if (!document.is_object() || !document.contains("devices") || !document["devices"].is_object()) return simulators;
    for (const auto& [runtime, devices] : document["devices"].items()) {
      if (!devices.is_array()) continue;
      for (const auto& device : devices) {
        if (auto simulator = readSimulator(device)) simulators.push_back(std::move(*simulator));
      }
    }
  } catch (const DecodingError&) {
    return {};
  }
  return simulators;
}

bool isOffered(const Simulator& simulator, TimePoint now) {
  if (!simulator.isAvailable) return true;
  return simulator.lastBooted &&
         ScanActivityClassification::monthsSince(*simulator.lastBooted, now) >= CoreSimulatorProbe::idleMonths;
}

}  // namespace

ProbeReport XcodeArchivesProbe::scan(const SystemProbeContext& context) const {
  ProbeReport report;
  constexpr int levelsOfDays = 2;
  addArchives(report, context, joinedPath(context.home(), "Library/Developer/Xcode/Archives"), levelsOfDays);
  return report;
}

ProbeReport CoreSimulatorProbe::scan(const SystemProbeContext& context) const {
  ProbeReport report;
  if (!ProcessRunner::isTrusted(xcrun_)) return report;
  const auto answer = context.ask(xcrun_, {"simctl", "list", "devices", "-j"}, timeoutSeconds).text;
  if (!answer) {
    report.notes.push_back("xcrun did not list the simulators.");
    return report;
  }
  const std::string devices = joinedPath(context.home(), "Library/Developer/CoreSimulator/Devices");
  for (const Simulator& simulator : readSimulators(*answer)) {
    const std::string folder = joinedPath(devices, simulator.udid);
    if (!isOffered(simulator, context.now) || !ProbeFiles::isFolder(folder) || context.exclusionFilter.bars(folder)) {
      continue;
    }
    report.items.push_back(makeItem("simulator-" + simulator.udid, folder, "Simulator: " + simulator.name,
                                    ArtifactSafetyTier::caution, "Create new simulator in Xcode → Devices & Simulators",
                                    simulator.lastBooted));
  }
  return report;
}

}  // namespace tidra
