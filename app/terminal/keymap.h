// Which key does what. The footer and the help say it from the same table.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "app/terminal/key.h"

namespace tidra {

enum class Command {
  up,
  down,
  pageUp,
  pageDown,
  first,
  last,
  open,
  back,
  mark,
  markRange,
  markShown,
  markNone,
  review,
  undo,
  filterText,
  filterKept,
  filterTier,
  filterEcosystem,
  sort,
  reverse,
  group,
  details,
  openFolder,
  copyPath,
  exclude,
  scanAgain,
  scanEverything,
  results,
  stores,
  exclusions,
  settings,
  summary,
  help,
  quit,
  escape,
  interrupt,
  suspend,
  redraw,
  none,
};

struct KeyBinding {
  Command command = Command::none;
  std::string_view keys;    // as the help shows them
  std::string_view does;    // in the help
  std::string_view footer;  // one or two words; empty: not in the footer
};

/// In the order of the help. Each command stands once.
const std::vector<KeyBinding>& keyBindings();

/// The command of a key outside prompts. Pasted text has none.
Command commandOf(const Key& key);

/// Whether the key agrees to a question. Pasted text and hasty keys do not.
bool isYes(const Key& key);

/// The row of a command; it must have one.
const KeyBinding& bindingOf(Command command);

}  // namespace tidra
