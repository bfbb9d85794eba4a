// Options shared by all removing commands, and the stores that they name.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/state/removal_history.h"
#include "cli/json_lines.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "core/session/cleanup_session.h"

namespace tidra {

struct RemovalOptions {
  RemovalCommand command = RemovalCommand::clean;  // for the history
  std::optional<std::string> method;               // absent: the plan's method, or the trash
  std::optional<std::string> quarantineFolder;
  bool force = false;
  bool allowAnyPath = false;
  bool emptyTrash = false;
  bool emptyTrashIfUsed = false;  // once something has been moved to it
  bool includesUndated = false;   // of the trash: entries without a valid date too
  bool json = false;
  std::string scope = {};                 // "all of ~" where no folder was named
  std::shared_ptr<JsonLines> lines = {};  // with --json-lines; `json` is set as well, which silences the text
};

/// The refusal's text, with the option that overrules it, if any.
std::string refusalText(const Refusal& refusal);

/// Declares the options on a command.
void addRemovalOptions(CLI::App& command, RemovalOptions& options);

/// Parses a method's name. Throws InputError.
DisposalMethod parseMethod(const std::string& text);

/// The quarantine named by the option, else the default one. Throws InputError.
QuarantineConfig chosenQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver);

/// Completes the options and the request of a removal, checks its stores and writes the first of the JSON lines.
/// Requires a live InterruptGuard. Throws InputError.
void prepareRemoval(RemovalOptions& options, const ScanOptions& scan, DisposalMethod method, ScanRequest& request,
                    const Program& program);

/// The store of quarantine entries. Throws InputError.
QuarantineDisposer openQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver);

}  // namespace tidra
