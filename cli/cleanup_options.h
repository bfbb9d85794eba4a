// The options that every command takes which removes things, and what they all do in the same way.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/cleanup_view.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "core/session/cleanup_session.h"

namespace tidra {

struct RemovalOptions {
  std::optional<std::string> method;  // absent: the plan's, or the trash
  std::optional<std::string> quarantineFolder;
  bool force = false;
  bool allowAnyPath = false;
  bool emptyTrash = false;
  bool includesUnlisted = false;  // of the trash: also what nothing dates
  bool json = false;
};

/// Declares them on a command.
void addRemovalOptions(CLI::App& command, RemovalOptions& options);

/// The method of that name. Throws InputError.
DisposalMethod parseMethod(const std::string& text);

/// The quarantine of the option, else the default one. Throws InputError.
QuarantineConfig chosenQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver);

/// Throws InputError when the quarantine folder that the option or the environment names could not be used. The usual
/// one is left to the items: those of other volumes need it not.
void checkNamedQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver);

/// Throws InputError when what is moved would lie in a home folder where its owner could not bring it back.
void requireOwnStores(DisposalMethod method, const RemovalOptions& options, const TidraPathResolver& resolver);

/// The store of quarantine entries. Throws InputError.
QuarantineDisposer openQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver);

/// How a plan is listed: `view` with the circumstances of the request.
CleanupViewOptions planView(const ScanViewOptions& view, const ScanRequest& request);

/// Shows the plan, asks, removes, reports. Returns the exit status. An InterruptGuard must be alive; throws Interrupted
/// when it was raised before the first removal.
int carryOut(const std::vector<CleanupCandidate>& candidates, const CleanupPlan& plan, const ScanRequest& request,
             const RemovalOptions& options, const ScanViewOptions& view, const Program& program);

}  // namespace tidra
