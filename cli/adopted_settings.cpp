#include "cli/adopted_settings.h"

#include <fmt/format.h>

#include "cli/known_settings.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/quantities.h"
#include "core/base/text.h"

namespace tidra {
namespace {

/// A size that another program wrote may not be one.
bool isSize(const std::string& text) {
  try {
    return parseSize(text) >= 0;
  } catch (const InputError&) {
    return false;
  }
}

bool isAge(const std::string& text) {
  try {
    return parseAge(text), true;
  } catch (const InputError&) {
    return false;
  }
}

/// An age of 0 lifts that of the settings.
void adoptAge(ScanOptions& options, const TerminalDefaults& terminal) {
  if (!terminal.olderThan || !isAge(*terminal.olderThan)) return;
  if (options.olderThan) {
    if (isAge(*options.olderThan) && parseAge(*options.olderThan) == Age{}) options.olderThan.reset();
    return;
  }
  options.olderThan = terminal.olderThan;
  options.adopted.insert("older-than");
}

void noteSettings(const UserSettings& settings, const TidraPathResolver& resolver) {
  std::vector<std::string> changed;
  for (const KnownSetting& setting : knownSettings()) {
    UserSettings without = settings;
    setting.copy(without, UserSettings{});
    if (without == settings) continue;
    changed.push_back(fmt::format("{} is {}", setting.key, escapedForTerminal(setting.text(settings, resolver))));
  }
  if (changed.empty()) return;
  writeNote(fmt::format("Settings from tidra config: {}; --no-config ignores them.", joined(changed, ", ")));
}

}  // namespace

void adoptSettings(ScanOptions& options, Program& program) {
  if (options.noConfig) return;
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  try {
    const UserState state(resolver);
    if (state.preferences->isDamaged()) return;
    options.settings = state.settings.loadAll();
  } catch (const PreferencesError&) {
    return;
  }
  const TerminalDefaults& terminal = options.settings.terminal;
  if (options.tiers.empty() && terminal.tiers) {
    options.adopted.insert("tier");
    for (const ArtifactSafetyTier tier : *terminal.tiers) options.tiers.emplace_back(rawValue(tier));
  }
  if (!options.minSize && terminal.minimumSize && isSize(*terminal.minimumSize)) {
    options.minSize = terminal.minimumSize;
    options.adopted.insert("min-size");
  }
  adoptAge(options, terminal);
  if (!program.options.colorIsNamed && terminal.color) program.options.color = *terminal.color;
  if (program.options.verbose) noteSettings(options.settings, resolver);
}

DisposalMethod defaultMethod(const UserSettings& settings) {
  const auto shared = settings.app.moveToTrash ? DisposalMethod::trash : DisposalMethod::delete_;
  return settings.terminal.method.value_or(shared);
}

}  // namespace tidra
