#include "app/terminal/settings_screen.h"

#include <algorithm>
#include <utility>

#include "app/terminal/screen_frame.h"
#include "core/base/text.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"

namespace tidra {
namespace {

/// A line of the list. `step` changes the value, +1 or -1.
struct SettingLine {
  std::string name;
  std::string value;
  std::string remark = {};
  std::function<void(TidraAppSettings&, int step)> change = {};  // empty: a heading
  bool isPath = false;                                           // typed instead
};

std::string switchText(bool isOn) { return isOn ? "on" : "off"; }

SettingLine switchLine(std::string_view name, bool TidraAppSettings::*field, const TidraAppSettings& settings,
                       std::string_view remark) {
  return {.name = std::string(name),
          .value = switchText(settings.*field),
          .remark = std::string(remark),
          .change = [field](TidraAppSettings& changed, int) { changed.*field = !(changed.*field); }};
}

SettingLine switchLine(std::string_view name, std::string_view key,
                       std::map<std::string, bool> TidraAppSettings::*field, const TidraAppSettings& settings,
                       std::string_view remark = {}) {
  const auto found = (settings.*field).find(std::string(key));
  const bool isOn = found == (settings.*field).end() || found->second;
  return {.name = "  " + std::string(name),
          .value = switchText(isOn),
          .remark = std::string(remark),
          .change = [field, isOn, key = std::string(key)](TidraAppSettings& changed, int) {
            (changed.*field)[key] = !isOn;
          }};
}

SettingLine locationLine(const TidraAppSettings& settings) {
  const char* word = settings.defaultScanLocation == TidraScanDefaultLocation::home     ? "home folder"
                     : settings.defaultScanLocation == TidraScanDefaultLocation::custom ? "another folder"
                                                                                        : "whole machine";
  return {.name = "Scan", .value = word, .change = [](TidraAppSettings& changed, int step) {
            const int next = (static_cast<int>(changed.defaultScanLocation) + step + 3) % 3;
            changed.defaultScanLocation = static_cast<TidraScanDefaultLocation>(next);
          }};
}

void addRemovalLines(std::vector<SettingLine>& lines, const TidraAppSettings& settings) {
  using Words = SettingsWords;
  SettingLine method = switchLine("Removal", &TidraAppSettings::moveToTrash, settings,
                                  settings.moveToTrash ? "" : Words::deleteAtOnceRemark);
  method.value = std::string(settings.moveToTrash ? Words::moveToTrash : Words::deleteAtOnce);
  lines.push_back(std::move(method));
  lines.push_back(
      switchLine(Words::emptyTrash, &TidraAppSettings::emptyTrashAfterDeletion, settings, Words::emptyTrashRemark));
}

std::vector<SettingLine> settingLines(const TidraAppSettings& settings) {
  using Words = SettingsWords;
  std::vector<SettingLine> lines{locationLine(settings)};
  if (settings.defaultScanLocation == TidraScanDefaultLocation::custom)
    lines.push_back({.name = "  Folder",
                     .value = settings.customScanPath.empty() ? "not chosen" : settings.customScanPath,
                     .isPath = true});
  lines.push_back(switchLine(Words::askBeforeEachScan, &TidraAppSettings::askBeforeEachScan, settings,
                             Words::askBeforeEachScanRemark));
  lines.push_back(
      {.name = std::string(Words::dormant),
       .value = counted(static_cast<std::uint64_t>(std::max(settings.dormantThresholdYears, 0)), "year", "years"),
       .remark = std::string(Words::dormantRemark),
       .change = [](TidraAppSettings& changed, int step) { changed.dormantThresholdYears += step; }});
  lines.push_back(
      {.name = std::string(Words::inactive),
       .value = counted(static_cast<std::uint64_t>(std::max(settings.inactiveThresholdMonths, 0)), "month", "months"),
       .remark = std::string(Words::inactiveRemark),
       .change = [](TidraAppSettings& changed, int step) { changed.inactiveThresholdMonths += step; }});
  addRemovalLines(lines, settings);
  lines.push_back({.name = "Ecosystems", .value = ""});
  for (const auto& row : ecosystemTable)
    lines.push_back(switchLine(row.name, row.key, &TidraAppSettings::ecosystemsEnabled, settings));
  lines.push_back({.name = "Outside projects", .value = ""});
  for (const auto& row : systemScanCategoryTable) {
    if (row.existsOn(currentPlatform))
      lines.push_back(switchLine(row.name, row.key, &TidraAppSettings::systemScanEnabled, settings, row.detail));
  }
  return lines;
}

}  // namespace

void SettingsScreen::draw(Canvas canvas, const SettingsDraft& draft, const UiState& state) {
  const auto layout = ScreenLayout::of({canvas.columns(), canvas.rows()});
  if (!layout) return drawTooSmall(canvas);
  drawHeader(canvas, *layout, "Settings", "",
             state.scan.isRunning ? SettingsWords::unavailable : SettingsWords::whenEffective);
  const auto lines = settingLines(draft.values.app);
  Canvas list = canvas.part(layout->content);
  cursor_.setTotal(lines.size());
  const std::size_t first = cursor_.firstOf(list.rows());
  const std::size_t names = std::min<std::size_t>(36, list.columns() / 2);
  for (std::size_t row = 0; row < list.rows() && first + row < lines.size(); ++row) {
    const SettingLine& line = lines[first + row];
    const bool isCursor = first + row == cursor_.line();
    const bool isHeading = !line.change && !line.isPath;
    if (isCursor) list.put(row, 0, list.glyphs().cursor, {.ink = Ink::accent, .bold = true});
    list.putFitted(row, 2, names - 3, line.name, {.bold = isHeading, .reverse = isCursor});
    list.putFitted(row, names, list.columns() - names, line.value,
                   {.ink = line.value == "off" ? Ink::faint : Ink::plain},
                   line.isPath ? Canvas::Cut::inside : Canvas::Cut::atEnd);
  }
  if (path_) {
    path_->draw(canvas, layout->footer.row);
    return drawKeys(canvas, *layout, {{"Enter", "keep"}, {"Esc", "back"}});
  }
  const std::string remark = cursor_.line() < lines.size() ? lines[cursor_.line()].remark : "";
  canvas.putFitted(layout->footer.row, 1, canvas.columns() - 2, news_.empty() ? remark : news_,
                   {.ink = news_.empty() ? Ink::faint : Ink::attention});
  if (state.scan.isRunning || state.isReadOnly) return drawKeys(canvas, *layout, {{"Esc", "back"}});
  drawKeys(canvas, *layout, {{"Space", "change"}, {"←→", "less, more"}, {"Esc", "back"}});
}

std::vector<std::string> SettingsScreen::texts(const SettingsDraft& draft) const {
  std::vector<std::string> texts;
  std::size_t number = 0;
  for (const SettingLine& line : settingLines(draft.values.app)) {
    texts.push_back(std::to_string(++number) + ". " + std::string(trimmed(line.name)) +
                    (line.value.empty() ? "" : ": " + escapedForTerminal(line.value)));
  }
  if (!news_.empty()) texts.push_back(escapedForTerminal(news_));
  texts.emplace_back("A number changes the setting; back leaves.");
  return texts;
}

bool SettingsScreen::goToLine(std::size_t line, const SettingsDraft& draft) {
  cursor_.setTotal(settingLines(draft.values.app).size());
  return cursor_.moveTo(line);
}

SettingsScreen::Answer SettingsScreen::typed(const Key& key, SettingsDraft& draft) {
  const LinePrompt::Result result = path_->handle(key);
  Answer answer;
  if (result == LinePrompt::Result::accepted) {
    draft.values.app.customScanPath = path_->text();
    answer.isChanged = true;
  }
  if (result == LinePrompt::Result::accepted || result == LinePrompt::Result::cancelled) path_.reset();
  return answer;
}

SettingsScreen::Answer SettingsScreen::handle(const Key& key, SettingsDraft& draft, const UiState& state) {
  if (path_) return typed(key, draft);
  news_.clear();
  const Command command = commandOf(key);
  cursor_.move(command);
  switch (command) {
    case Command::mark:
    case Command::open:
    case Command::back: {
      const auto lines = settingLines(draft.values.app);
      const bool mayChange = !state.scan.isRunning && !state.isReadOnly && cursor_.line() < lines.size();
      if (state.scan.isRunning) news_ = std::string(SettingsWords::unavailable);
      if (!mayChange) return {};
      const SettingLine& line = lines[cursor_.line()];
      if (line.isPath) path_.emplace("Folder:", draft.values.app.customScanPath);
      if (!line.change) return {};
      line.change(draft.values.app, command == Command::back ? -1 : 1);
      return {.isChanged = true};
    }
    default:
      return {.action = actionBesideList(command)};
  }
}

}  // namespace tidra
