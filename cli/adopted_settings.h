// What the user's settings change about a command.
#pragma once

#include "cli/program.h"
#include "cli/scan_options.h"
#include "core/model/disposal.h"

namespace tidra {

/// Loads the settings into the options, unless --no-config is given. They count where no option says otherwise: tiers,
/// smallest size and colour are filled in, the others are read from ScanOptions::settings. Settings that cannot be read
/// are the defaults; the reader of the exclusions reports it.
void adoptSettings(ScanOptions& options, Program& program);

/// The method of removals that no option or plan names.
DisposalMethod defaultMethod(const UserSettings& settings);

}  // namespace tidra
