// What a screen asks for after a key, beyond what it changes itself.
#pragma once

#include <optional>
#include <string>

#include "app/terminal/keymap.h"

namespace tidra {

struct UiAction {
  enum class Kind {
    none,     // draw again
    back,     // to the screen before
    results,  // to the list
    review,
    stopScan,
    undo,
    scanAgain,  // the root that holds `path`
    scanEverything,
    exclude,      // `path`
    openFolder,   // `path`
    copyPath,     // `path`
    readProject,  // its git facts, of the folder `path`
    stores,
    exclusions,
    settings,
    summary,
    help,
    quit,
    interrupt,
    suspend,
    redraw,
  };

  Kind kind = Kind::none;
  std::string path = {};

  bool operator==(const UiAction&) const = default;
};

/// The screen that a command opens from anywhere; absent for other commands.
std::optional<UiAction::Kind> screenOf(Command command);

/// What a command does on every screen beside the list, such as going back to it.
UiAction actionBesideList(Command command);

}  // namespace tidra
