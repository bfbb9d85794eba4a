#include "app/terminal/ui_action.h"

namespace tidra {

std::optional<UiAction::Kind> screenOf(Command command) {
  switch (command) {
    case Command::results:
      return UiAction::Kind::results;
    case Command::stores:
      return UiAction::Kind::stores;
    case Command::exclusions:
      return UiAction::Kind::exclusions;
    case Command::settings:
      return UiAction::Kind::settings;
    case Command::summary:
      return UiAction::Kind::summary;
    case Command::help:
      return UiAction::Kind::help;
    default:
      return std::nullopt;
  }
}

UiAction actionBesideList(Command command) {
  switch (command) {
    case Command::suspend:
      return {UiAction::Kind::suspend};
    case Command::redraw:
      return {UiAction::Kind::redraw};
    case Command::escape:
    case Command::quit:
    case Command::interrupt:
      return {UiAction::Kind::results};
    default:
      return {screenOf(command).value_or(UiAction::Kind::none)};
  }
}

}  // namespace tidra
