// The request of a scan, made from the user's settings, what the user keeps, and what was chosen for this scan: the
// same for every face.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/state/app_settings.h"
#include "app/state/finding_choices.h"
#include "core/scan/exclusion_entry.h"
#include "core/session/scan_session.h"

namespace tidra {

struct NamedExclusion {
  std::string given;  // by the user
  TypedExclusion read;
};

/// What was chosen for one scan. As it is made, it chooses what the settings say.
struct ScanChoices {
  std::vector<std::string> roots = {};  // absolute; none: the folder of the settings
  bool reachesEverywhere = false;       // outside projects, beyond the roots too; always without roots
  bool scansProjects = true;
  bool scansSystem = true;  // outside projects
  FindingChoices findings = {};
  std::vector<NamedExclusion> exclusions = {};  // besides the stored ones
  bool usesOwnRules = true;                     // packs, added files and switched off rules of the user
  std::vector<std::string> rulesFiles = {};
  std::vector<std::string> disabledRules = {};  // besides
  bool oneFileSystem = false;
  unsigned workers = 0;  // 0: default
};

struct [[nodiscard]] BuiltScanRequest {
  ScanRequest request;
  std::vector<std::string> notes;     // sentences: what does not mean what it seems to
  std::vector<std::string> warnings;  // sentences on what was lost, such as exclusions that cannot be read
};

/// Throws InputError, one sentence, for the first choice that cannot be used.
BuiltScanRequest buildScanRequest(const ScanChoices& choices, const TidraAppSettings& settings,
                                  const TidraPathResolver& resolver, TimePoint now);

/// Throws InputError unless the folder can be scanned. `named` is how the user called it. An unreadable folder can: the
/// scan reports it.
void requireScannable(const std::string& path, const std::string& named);

/// The folder of the settings. Throws InputError when it cannot be scanned.
std::string defaultScanRoot(const TidraAppSettings& settings, const TidraPathResolver& resolver);

/// Returns a warning about an exclusion that may not match what was meant (unset variable, no match yet, taken as a
/// pattern, names only); nullopt otherwise.
std::optional<std::string> noteOn(const TypedExclusion& typed, const TidraPathResolver& resolver);

}  // namespace tidra
