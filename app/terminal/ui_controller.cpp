#include "app/terminal/ui_controller.h"

#include <stdexcept>
#include <utility>

#include "app/terminal/folder_opener.h"
#include "app/terminal/screen_frame.h"
#include "core/base/errors.h"
#include "core/platform/path_text.h"
#include "core/platform/volume_space.h"

namespace tidra {

UiController::UiController(UiEnvironment environment, UiHost host)
    : environment_(std::move(environment)),
      host_(std::move(host)),
      scan_(host_.wake),
      removal_(environment_, host_.wake),
      side_(environment_, host_.wake) {
  state_.home = environment_.resolver.home;
  state_.place = environment_.place;
  state_.isReadOnly = environment_.isReadOnly;
  state_.now = environment_.clock();
  // Until the scan has begun, so that the first frame does not say that nothing was found.
  state_.scan.isRunning = !environment_.last;
}

void UiController::start() {
  if (environment_.last) showLast();
  if (!environment_.last) startScan(false);
  readVolume();
}

void UiController::showLast() {
  removal_.adoptSettings();
  LastScanView& last = *environment_.last;
  state_.view.replaceAll(last.rows);
  if (!last.report.scanRoot.empty()) state_.place = placeText(last.report.scanRoot, state_.home);
  state_.banner = std::string(last.banner());
  if (state_.banner.empty() && last.end) state_.banner = "from the last scan, " + idleText(last.end, state_.now);
  state_.refresh();
}

void UiController::startScan(bool everything) {
  if (removal_.isRemoving()) {
    state_.notice = "A removal is running; scan again when it is done";
    return;
  }
  try {
    ScanRequest request = environment_.newRequest(everything);
    environment_.last.reset();
    removal_.adoptSettings();
    scan_.start(std::move(request), environment_.isStored, state_);
    state_.place = everything ? "everything" : environment_.place;
  } catch (const InputError& error) {
    state_.scan.isRunning = false;
    state_.notice = error.what();
  }
}

/// Of the volume of the home folder, or of the only root.
void UiController::readVolume() {
  const auto& request = scan_.request();
  const bool hasRoot = request && request->roots.size() == 1;
  const auto space = TidraVolumeSpaceReader::read(hasRoot ? request->roots.front() : environment_.resolver.home);
  state_.freeBytes = space ? std::optional(space->availableBytes) : std::nullopt;
}

bool UiController::takeNews() {
  const bool wasRemoving = removal_.isRemoving();
  const bool hasScanNews = scan_.drain(state_);
  const bool hasRemovalNews = removal_.drain(state_, summary_);
  const bool isRemoved = wasRemoving && !removal_.isRemoving();
  if (isRemoved) {
    readVolume();
    if (asksToQuit_) isDone_ = hasLeftRemoval_ = true;
  }
  const auto project = project_ ? project_->drain() : nullptr;
  if (project) {
    results_.setProject(*project);
    project_.reset();
  }
  const bool hasSideNews = side_.drain(state_, summary_);
  forgetOldQuestion();
  return hasScanNews || hasRemovalNews || hasSideNews || project;
}

bool UiController::stopRemoval() {
  removal_.cancel();
  if (removal_.isRemoving()) asksToQuit_ = true;
  return removal_.isRemoving();
}

std::vector<std::string> UiController::lastWords() const {
  return hasLeftRemoval_ ? summary_.texts(state_) : std::vector<std::string>();
}

void UiController::draw(Frame& frame, const ScreenGlyphs& glyphs) {
  Canvas canvas(frame, glyphs);
  const bool isReadable = ScreenLayout::of({canvas.columns(), canvas.rows()}).has_value();
  shownQuestion_ = isReadable ? question() : "";
  switch (screen_) {
    case Screen::results:
      return results_.draw(canvas, state_);
    case Screen::review:
      return removal_.screen().draw(canvas, state_);
    case Screen::summary:
      return summary_.draw(canvas, state_);
    case Screen::help:
      return help_.draw(canvas);
    default:
      return side_.draw(*side(), canvas, state_);
  }
}

std::optional<SideScreens::Screen> UiController::side() const {
  switch (screen_) {
    case Screen::stores:
      return SideScreens::Screen::stores;
    case Screen::undo:
      return SideScreens::Screen::undo;
    case Screen::exclusions:
      return SideScreens::Screen::exclusions;
    case Screen::settings:
      return SideScreens::Screen::settings;
    default:
      return std::nullopt;
  }
}

std::string UiController::question() const {
  if (const auto beside = side()) return side_.question(*beside);
  return screen_ == Screen::review ? removal_.screen().question() : "";
}

void UiController::forgetOldQuestion() {
  if (question() != shownQuestion_) shownQuestion_.clear();
}

std::vector<std::string> UiController::texts() {
  shownQuestion_ = question();
  if (const auto beside = side()) return side_.texts(*beside, state_);
  if (screen_ == Screen::review) return removal_.screen().texts();
  return screen_ == Screen::summary ? summary_.texts(state_) : std::vector<std::string>();
}

bool UiController::goToLine(std::size_t line) {
  if (const auto beside = side()) return side_.goToLine(*beside, line);
  if (screen_ != Screen::results || line >= state_.list->lines.size()) return false;
  state_.cursor.moveTo(line);
  return true;
}

bool UiController::isTyping() const {
  if (screen_ == Screen::results) return results_.isTyping();
  return screen_ == Screen::review ? removal_.screen().isTyping() : side_.isTyping();
}

void UiController::show(Screen screen) {
  if (screen_ == Screen::review && screen != Screen::review) removal_.cancelReview();
  screen_ = screen;
}

UiAction UiController::handleReview(const Key& key) {
  const ReviewScreen::Answer answer = removal_.screen().handle(key, state_);
  if (answer.wish == ReviewScreen::Wish::choiceChanged) {
    removal_.choose(removal_.screen().choice());
  } else if (answer.wish == ReviewScreen::Wish::start) {
    removal_.start(state_);
    screen_ = Screen::results;
  }
  return answer.action;
}

/// From one screen beside the list to another, unless the key answers or types something.
std::optional<UiAction> UiController::otherScreen(const Key& key) const {
  if (screen_ == Screen::results || screen_ == Screen::review || isTyping() || !question().empty()) return std::nullopt;
  const auto kind = screenOf(commandOf(key));
  const bool isThere = screen_ == Screen::help && kind == UiAction::Kind::help;
  if (!kind || isThere) return std::nullopt;
  return UiAction{*kind};
}

UiAction UiController::handleOnScreen(const Key& key) {
  if (auto action = otherScreen(key)) return *action;
  switch (screen_) {
    case Screen::results:
      return results_.handle(key, state_);
    case Screen::review:
      return handleReview(key);
    case Screen::summary:
      return summary_.handle(key);
    case Screen::help:
      return help_.handle(key);
    default:
      return side_.handle(*side(), key, state_);
  }
}

void UiController::handle(const Key& key) {
  if (isYes(key) && !isTyping() && question() != shownQuestion_) return;
  const UiAction action = handleOnScreen(key);
  if (action.kind != UiAction::Kind::quit && action.kind != UiAction::Kind::interrupt) asksToQuit_ = false;
  perform(action);
  forgetOldQuestion();
}

void UiController::review() {
  if (state_.isReadOnly) return;
  if (side_.isActing()) {
    state_.notice = "Entries are being brought back or deleted; review when that is done";
    return;
  }
  if (!environment_.last && scan_.outcome() == nullptr) {
    state_.notice = "The scan is still running; what it finds can be reviewed when it is done";
    return;
  }
  try {
    const ScanRequest request = scan_.request() ? *scan_.request() : environment_.newRequest(false);
    if (removal_.beginReview(state_, request, scan_.outcome())) screen_ = Screen::review;
  } catch (const std::runtime_error& error) {
    state_.notice = error.what();
  }
}

void UiController::interrupt() {
  if (!scan_.isRunning()) return quit();
  scan_.stop(state_);
}

void UiController::quit() {
  if (asksToQuit_ && removal_.isRemoving()) return removal_.cancel();
  if (asksToQuit_ || !(removal_.isRemoving() || side_.isActing())) {
    isDone_ = true;
    return;
  }
  asksToQuit_ = true;
  state_.notice =
      removal_.isRemoving()
          ? "A removal is running: q again stops it and quits, any other key goes on"
          : "Entries are being brought back or deleted: q again stops that and quits, any other key goes on";
}

void UiController::performOnPath(const UiAction& action) {
  const bool isOfTool = isToolBackedTarget(action.path) && action.kind != UiAction::Kind::copyPath;
  if (action.path.empty() || isOfTool) {
    state_.notice = "This line stands for no folder";
    return;
  }
  if (action.kind == UiAction::Kind::openFolder) {
    state_.notice = openInFileManager(action.path, environment_.resolver.environment);
  } else if (action.kind == UiAction::Kind::exclude && state_.isReadOnly) {
    state_.notice = "Opened with --read-only: nothing is changed";
  } else if (action.kind == UiAction::Kind::exclude) {
    side_.exclude(action.path, state_);
    for (const ResultRow* row : state_.selection.rowsIn(state_.view)) {
      if (isSameOrInside(row->path, action.path)) state_.selection.unmark(row->id);
    }
    state_.refresh();
  } else {
    host_.copy(action.path);
    state_.notice = "Copied " + placeText(action.path, state_.home);
  }
}

void UiController::showSide(SideScreens::Screen side, Screen screen) {
  if (side_.open(side, state_)) show(screen);
}

void UiController::undo() {
  if (state_.isReadOnly) {
    state_.notice = "Opened with --read-only: nothing is brought back";
  } else if (removal_.isRemoving()) {
    state_.notice = "A removal is running; it can be undone when it is done";
  } else {
    showSide(SideScreens::Screen::undo, Screen::undo);
  }
}

/// Only one at a time: the newest one wins.
void UiController::readProject(const std::string& path) {
  project_ = std::make_unique<ProjectJob>(path, environment_.git, environment_.resolver, host_.wake);
}

void UiController::perform(const UiAction& action) {
  switch (action.kind) {
    case UiAction::Kind::back:
      return show(screen_ == Screen::help ? beforeHelp_ : Screen::results);
    case UiAction::Kind::results:
      return show(Screen::results);
    case UiAction::Kind::review:
      return review();
    case UiAction::Kind::stopScan:
      return scan_.stop(state_);
    case UiAction::Kind::scanAgain:
      return startScan(false);
    case UiAction::Kind::scanEverything:
      return startScan(true);
    case UiAction::Kind::exclude:
    case UiAction::Kind::openFolder:
    case UiAction::Kind::copyPath:
      return performOnPath(action);
    case UiAction::Kind::readProject:
      return readProject(action.path);
    case UiAction::Kind::stores:
      return showSide(SideScreens::Screen::stores, Screen::stores);
    case UiAction::Kind::undo:
      return undo();
    case UiAction::Kind::exclusions:
      return showSide(SideScreens::Screen::exclusions, Screen::exclusions);
    case UiAction::Kind::settings:
      return showSide(SideScreens::Screen::settings, Screen::settings);
    case UiAction::Kind::summary:
      if (summary_.isEmpty()) state_.notice = "Nothing was removed yet";
      return summary_.isEmpty() ? void() : show(Screen::summary);
    case UiAction::Kind::help:
      if (screen_ != Screen::help) beforeHelp_ = screen_;
      return show(Screen::help);
    case UiAction::Kind::quit:
      return quit();
    case UiAction::Kind::interrupt:
      return interrupt();
    case UiAction::Kind::suspend:
      return host_.suspend();
    case UiAction::Kind::redraw:
      return host_.redraw();
    default:
      return;
  }
}

}  // namespace tidra
