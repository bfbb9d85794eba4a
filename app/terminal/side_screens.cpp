#include "app/terminal/side_screens.h"

#include <stdexcept>
#include <utility>

#include "core/platform/host.h"
#include "core/platform/mount_table.h"

namespace tidra {

bool SideScreens::open(Screen screen, UiState& state) {
  if (screen == Screen::stores) {
    if (!stores_.isActing()) {
      stores_.begin();
      carryOut({});
    }
    return true;
  }
  if (screen == Screen::undo) {
    if (!undo_.isActing()) {
      undo_.begin();
      undo({});
    }
    return true;
  }
  return screen == Screen::exclusions ? openExclusions(state) : openSettings(state);
}

bool SideScreens::openExclusions(UiState& state) {
  if (environment_.preferences == nullptr) return false;
  try {
    exclusionsView_.reset();
    exclusionsStore_.emplace(*environment_.preferences);
    exclusionsView_.emplace(*exclusionsStore_, environment_.resolver);
    return true;
  } catch (const std::runtime_error& error) {
    state.notice = error.what();
    return false;
  }
}

bool SideScreens::openSettings(UiState& state) {
  if (environment_.preferences == nullptr) return false;
  try {
    draft_.emplace(SettingsStore(*environment_.preferences).loadAll());
    return true;
  } catch (const std::runtime_error& error) {
    state.notice = error.what();
    return false;
  }
}

void SideScreens::carryOut(StoresOrder order) {
  job_.reset();
  job_ = std::make_unique<StoresJob>(
      StoresJob::Place{environment_.resolver, TidraHost::name(environment_.resolver.environment), mountPoints(),
                       environment_.clock},
      std::move(order), wake_);
}

void SideScreens::undo(std::optional<std::string> id) {
  undoJob_.reset();
  undoJob_ = std::make_unique<UndoJob>(
      UndoList::Setting{environment_.resolver, TidraHost::name(environment_.resolver.environment), mountPoints(),
                        environment_.clock},
      std::move(id), wake_);
}

namespace {

/// Returns whether the list shows all of it.
bool listAgain(const std::vector<std::string>& restored, UiState& state, SummaryScreen& summary) {
  if (restored.empty()) return true;
  const bool isListed = state.view.restore(restored);
  state.refresh();
  summary.addRestored(restored.size());
  return isListed;
}

}  // namespace

bool SideScreens::drain(UiState& state, SummaryScreen& summary) {
  const auto stores = job_ ? job_->drain() : nullptr;
  if (stores) {
    stores_.show(*stores);
    listAgain(stores->restored, state, summary);
    job_.reset();
  }
  auto undone = undoJob_ ? undoJob_->drain() : nullptr;
  const bool hasNews = stores || undone;
  if (undone) {
    const bool isListed = !undone->result || listAgain(undone->result->restored, state, summary);
    undo_.show(std::move(undone), isListed);
    undoJob_.reset();
  }
  return hasNews;
}

void SideScreens::draw(Screen screen, Canvas canvas, const UiState& state) {
  if (screen == Screen::stores) stores_.draw(canvas, state);
  if (screen == Screen::undo) undo_.draw(canvas, state);
  if (screen == Screen::exclusions && exclusionsView_) exclusions_.draw(canvas, *exclusionsView_, state);
  if (screen == Screen::settings && draft_) settings_.draw(canvas, *draft_, state);
}

std::vector<std::string> SideScreens::texts(Screen screen, const UiState& state) const {
  if (screen == Screen::stores) return stores_.texts(state);
  if (screen == Screen::undo) return undo_.texts(state);
  return screen == Screen::exclusions ? exclusions_.texts(*exclusionsView_) : settings_.texts(*draft_);
}

std::string SideScreens::question(Screen screen) const {
  if (screen == Screen::stores) return stores_.question();
  return screen == Screen::undo ? undo_.question() : "";
}

bool SideScreens::goToLine(Screen screen, std::size_t line) {
  if (screen == Screen::stores) return stores_.goToLine(line);
  if (screen == Screen::exclusions) return exclusions_.goToLine(line, *exclusionsView_);
  return screen == Screen::settings && settings_.goToLine(line, *draft_);
}

void SideScreens::save() {
  try {
    SettingsStore store(*environment_.preferences);
    draft_->save(store, environment_.resolver);
    settings_.say("Saved. " + std::string(SettingsWords::whenEffective));
  } catch (const std::runtime_error& error) {
    settings_.say(error.what());
  }
}

UiAction SideScreens::handle(Screen screen, const Key& key, UiState& state) {
  if (screen == Screen::exclusions) return exclusions_.handle(key, *exclusionsView_, state);
  if (screen == Screen::stores) {
    StoresScreen::Answer answer = stores_.handle(key, state);
    if (answer.order) carryOut(std::move(*answer.order));
    return answer.action;
  }
  if (screen == Screen::undo) {
    UndoScreen::Answer answer = undo_.handle(key);
    if (answer.id) undo(std::move(answer.id));
    return answer.action;
  }
  const SettingsScreen::Answer answer = settings_.handle(key, *draft_, state);
  if (answer.isChanged) save();
  return answer.action;
}

void SideScreens::exclude(const std::string& path, UiState& state) {
  if (!openExclusions(state)) return;
  try {
    const std::string place = placeText(path, state.home);
    const bool isNew = exclusionsView_->addFolder(path, environment_.clock()).isNew;
    state.notice =
        isNew ? place + " is left out of the next scan; 3 shows all exclusions" : place + " is excluded already";
  } catch (const std::runtime_error& error) {
    state.notice = error.what();
  }
}

}  // namespace tidra
