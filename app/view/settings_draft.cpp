#include "app/view/settings_draft.h"

#include <fmt/format.h>

#include <utility>

#include "core/base/errors.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"

namespace tidra {
namespace {

/// Changes in `to` what differs between `before` and `edited`, down to single switches.
void takeChanged(nlohmann::json& to, const nlohmann::json& before, const nlohmann::json& edited) {
  for (const auto& [key, value] : before.items()) {
    if (!edited.contains(key)) to.erase(key);
  }
  for (const auto& [key, value] : edited.items()) {
    const auto old = before.find(key);
    if (old != before.end() && *old == value) continue;
    if (value.is_object() && old != before.end() && to.contains(key)) {
      takeChanged(to[key], *old, value);
    } else {
      to[key] = value;
    }
  }
}

template <class Record>
Record withChanges(const Record& present, const Record& before, const Record& edited) {
  nlohmann::json merged = toJson(present);
  takeChanged(merged, toJson(before), toJson(edited));
  return JsonCodec<Record>::decode(merged, "the settings");
}

std::string problemOfLocation(const TidraAppSettings& settings, const TidraPathResolver& resolver) {
  if (settings.defaultScanLocation != TidraScanDefaultLocation::custom) return {};
  if (trimmed(settings.customScanPath).empty()) return "Name the folder that is scanned.";
  const std::string path = resolver.expandedPath(settings.customScanPath);
  if (openDirectory(path)) return {};
  return fmt::format("'{}' is no folder that can be opened.", escapedForTerminal(settings.customScanPath));
}

std::string problemOfDormant(const TidraAppSettings& settings) {
  return settings.dormantThresholdYears >= 1 ? "" : "Projects are dormant after 1 year at the least.";
}

std::string problemOfInactive(const TidraAppSettings& settings) {
  const ActivityThresholds thresholds = settings.thresholds();
  if (settings.inactiveThresholdMonths < 1) return "Projects are inactive after 1 month at the least.";
  if (thresholds.inactiveMonths < thresholds.dormantMonths) return {};
  return "Projects become inactive before they become dormant; choose fewer months.";
}

std::string problemOfSize(const TerminalDefaults& defaults) {
  if (!defaults.minimumSize) return {};
  try {
    static_cast<void>(parseSize(*defaults.minimumSize));
    return {};
  } catch (const InputError& error) {
    return error.what();
  }
}

}  // namespace

std::vector<SettingsDraft::Problem> SettingsDraft::problems(const TidraPathResolver& resolver) const {
  std::vector<Problem> problems;
  const auto add = [&](const char* key, std::string sentence) {
    if (!sentence.empty()) problems.push_back({key, std::move(sentence)});
  };
  add("location", problemOfLocation(values.app, resolver));
  add("dormant-after", problemOfDormant(values.app));
  add("inactive-after", problemOfInactive(values.app));
  add("min-size", problemOfSize(values.terminal));
  return problems;
}

void SettingsDraft::save(SettingsStore& store, const TidraPathResolver& resolver) {
  const auto found = problems(resolver);
  if (!found.empty()) throw InputError(found.front().sentence);
  store.change([&](UserSettings& present) {
    present.app = withChanges(present.app, stored_.app, values.app);
    present.terminal = withChanges(present.terminal, stored_.terminal, values.terminal);
    values = present;
  });
  stored_ = values;
}

}  // namespace tidra
