#include "cli/removal_recorder.h"

#include "app/state/state_folders.h"
#include "app/state/state_home.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"

namespace tidra {

RemovalHistory removalHistory(const TidraPathResolver& resolver) {
  return {stateFolders(currentPlatform, resolver).applicationData, [](const std::string& note) {
            // Also with --quiet: an undo does not reach what the damaged history holds.
            writeLoudNote(shown(note));
          }};
}

void recordRestored(const std::vector<MovedBack>& items, const TidraPathResolver& resolver) {
  if (items.empty()) return;
  try {
    requireHomeForState(resolver);
    removalHistory(resolver).markRestored(items, currentTime());
  } catch (const PreferencesError& error) {
    writeNote(shown(error.what()));
  }
}

void noteHistory(const HistoryRecorder& recorder) {
  for (const std::string& note : recorder.notes()) {
    recorder.isAboutDamage(note) ? writeLoudNote(shown(note)) : writeNote(shown(note));
  }
}

}  // namespace tidra
