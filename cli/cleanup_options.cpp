#include "cli/cleanup_options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "app/state/user_cleanup.h"
#include "cli/interrupt.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/host.h"

namespace tidra {
namespace {

/// Throws InputError when the quarantine folder named by the option or the environment is unusable. The default one is
/// checked item by item: items of other volumes do not use it.
void checkNamedQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver) {
  const auto quarantine = openQuarantine(folder, resolver);
  const auto variable = resolver.environment.find("TIDRA_QUARANTINE_DIR");
  if (!folder && (variable == resolver.environment.end() || variable->second.empty())) return;
  try {
    quarantine.checkFolder();
  } catch (const std::runtime_error& error) {
    throw InputError(fmt::format("The quarantine cannot be used: {}.", error.what()));
  }
}

/// Throws InputError when root would move items into a home folder whose owner could not restore them.
void requireOwnStores(DisposalMethod method, const RemovalOptions& options, const TidraPathResolver& resolver) {
  if (!movesToHomeOfAnother(method, chosenQuarantine(options.quarantineFolder, resolver), resolver)) return;
  throw InputError(fmt::format(
      "The home folder {} belongs to another user, who could not get back what root moves there; run tidra as that "
      "user, or give --home, --quarantine-dir or --method delete.",
      escapedForTerminal(resolver.home)));
}

}  // namespace

std::string refusalText(const Refusal& refusal) {
  if (refusal.canBeForced()) return refusal.text + "; --force removes it anyway";
  return refusal.text + (refusal.canBeAllowed() ? "; --allow-any-path removes it anyway" : "");
}

void addRemovalOptions(CLI::App& command, RemovalOptions& options) {
  command.add_option("--method", options.method, "Where things go: trash, quarantine or delete")->type_name("METHOD");
  command.add_option("--quarantine-dir", options.quarantineFolder, "The quarantine folder to use")->type_name("DIR");
  command.add_flag("--force", options.force, "Also what .tidra-keep protects and what is in use");
  command.add_flag("--empty-trash", options.emptyTrash, "Empty the trash afterwards");
  command.add_flag("--include-unlisted", options.includesUndated,
                   "Of the trash, also what has no info file, or no date that makes sense");
}

DisposalMethod parseMethod(const std::string& text) {
  if (const auto method = fromRawValue<DisposalMethod>(text)) return *method;
  throw InputError(
      fmt::format("Unknown method '{}'; known are {}.", escapedForTerminal(text), rawValueList<DisposalMethod>()));
}

QuarantineConfig chosenQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver) {
  if (!folder) return QuarantineConfig::makeDefault(resolver);
  if (folder->empty()) throw InputError("An empty text is not a quarantine folder; name one.");
  return {.directory = absolutePath(*folder, resolver)};
}

void prepareRemoval(RemovalOptions& options, const ScanOptions& scan, DisposalMethod method, ScanRequest& request,
                    const Program& program) {
  options.json = scan.json || scan.jsonLines;
  options.emptyTrashIfUsed = scan.settings.app.emptyTrashAfterDeletion;
  request.quarantines = {chosenQuarantine(options.quarantineFolder, request.resolver).directory};
  request.shouldCancel = &InterruptGuard::requested;
  requireOwnStores(method, options, request.resolver);
  if (method == DisposalMethod::quarantine) checkNamedQuarantine(options.quarantineFolder, request.resolver);
  if (scan.jsonLines) {
    options.lines = startJsonLines(rawValue(options.command), request, method, program.options.dryRun);
  }
}

QuarantineDisposer openQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver) {
  return {chosenQuarantine(folder, resolver), resolver, TidraHost::name(resolver.environment), mountPoints()};
}

}  // namespace tidra
