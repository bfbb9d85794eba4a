#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "cli/confirmation.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "core/base/byte_units.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/base/uuid.h"
#include "core/model/byte_formatting.h"
#include "core/platform/directory_reader.h"
#include "core/platform/host.h"
#include "core/platform/path_text.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/run_lock.h"

namespace tidra {
namespace {

struct AuditOptions {
  std::optional<std::string> file;
  std::optional<std::string> home;
  std::optional<std::string> run;
  std::vector<std::string> events;
  std::optional<std::string> path;
  std::optional<std::string> lock;
  bool json = false;
};

std::string logPath(const AuditOptions& options, const TidraPathResolver& resolver) {
  return options.file ? absolutePath(*options.file, resolver) : resolver.expandedPath("~/.tidra/audit.jsonl");
}

int verify(const AuditOptions& options, const Program& program) {
  const bool needsHome = !options.file || options.home;
  const auto result = AuditLog::verify(needsHome ? logPath(options, makeResolver(options.home, program.environment))
                                                 : absolutePath(*options.file, program.environment));
  writeOut(escapedForTerminal(result.message) + "\n");
  return result.ok ? ExitStatus::done : ExitStatus::someFailed;
}

/// Selects the records to show.
struct Filter {
  std::optional<std::string> run;
  std::vector<AuditRecord::Event> events;  // empty: all
  std::optional<std::string> path;

  bool admits(const AuditRecord& record) const {
    return (!run || record.runID == *run) &&
           (events.empty() || std::find(events.begin(), events.end(), record.event) != events.end()) &&
           (!path || (record.path && isSameOrInside(*record.path, *path)));
  }
};

Filter makeFilter(const AuditOptions& options, const TidraPathResolver& resolver) {
  Filter filter{.run = options.run, .events = {}, .path = options.path};
  for (const std::string& name : options.events) {
    const auto event = fromRawValue<AuditRecord::Event>(name);
    if (!event) {
      throw InputError(fmt::format("Unknown event '{}'; known are {}.", escapedForTerminal(name),
                                   rawValueList<AuditRecord::Event>()));
    }
    filter.events.push_back(*event);
  }
  // A tool's target, such as docker:build-cache, is not a path.
  const bool isTarget = filter.path && !filter.path->starts_with('/') && filter.path->find(':') != std::string::npos;
  if (filter.path && !isTarget) filter.path = absolutePath(*filter.path, resolver);
  return filter;
}

/// The subject of a record: path, destination, reason and message.
std::string subject(const AuditRecord& record, const TidraPathResolver& resolver) {
  std::vector<std::string> pieces;
  const auto shown = [&](const std::string& path) { return resolver.displayPath(path); };
  if (record.path) pieces.push_back(shown(*record.path));
  if (record.destination) pieces.push_back("-> " + shown(*record.destination));
  if (record.event == AuditRecord::Event::runStarted) {
    pieces.push_back("run " + record.runID);
    if (record.policy) pieces.push_back("policy " + *record.policy);
  }
  for (const auto& text : {record.reason, record.message}) {
    if (text) pieces.push_back(pieces.empty() ? *text : "(" + *text + ")");
  }
  if (record.dryRun.value_or(false) && record.reason != "dry run") pieces.push_back("(dry run)");
  return escapedForTerminal(joined(pieces, " "));
}

std::string tableLine(const AuditRecord& record, const TidraPathResolver& resolver) {
  const std::string bytes = record.bytes ? ByteFormatting::readable(signedBytes(*record.bytes)) : "";
  return fmt::format("{:>6}  {}  {:<13}  {:>8}  {}\n", record.seq, iso8601(record.time), rawValue(record.event), bytes,
                     subject(record, resolver));
}

/// Buffers output to save system calls.
class Output {
 public:
  Output& operator+=(std::string_view text) {
    constexpr std::size_t enough = 64_KiB;
    text_ += text;
    if (text_.size() >= enough) flush();
    return *this;
  }
  void flush() {
    writeOut(text_);
    text_.clear();
  }

 private:
  std::string text_;
};

/// Throws InputError if no log was named and the user's own is missing.
void requireOwnLog(const AuditOptions& options, const TidraPathResolver& resolver) {
  const std::string own = logPath(options, resolver);
  if (options.file || pathExists(own)) return;
  throw InputError(fmt::format(
      "No unattended run of yours has been recorded: {} does not exist. tidra audit show FILE reads the log "
      "that a policy names in audit.path.",
      escapedForTerminal(resolver.displayPath(own))));
}

int show(const AuditOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  requireOwnLog(options, resolver);
  const Filter filter = makeFilter(options, resolver);
  Output out;
  std::size_t shown = 0;
  bool isWhole = true;
  const auto visit = [&](const AuditRecord& record) {
    if (!filter.admits(record)) return;
    if (options.json) {
      out += shown == 0 ? "[\n" : ",\n";
      out += encodeAuditLine(record);
    } else {
      out += tableLine(record, resolver);
    }
    ++shown;
  };
  AuditLog::forEachRecord(logPath(options, resolver), visit, [&](const std::string& reason) {
    isWhole = false;
    writeError(fmt::format("The audit log is damaged: {}.", escapedForTerminal(reason)));
  });
  if (options.json) out += shown == 0 ? "[]\n" : "\n]\n";
  if (!options.json && shown == 0 && isWhole) out += "No records.\n";
  out.flush();
  return isWhole ? ExitStatus::done : ExitStatus::someFailed;
}

AuditLog::Builder repairBuilder(const Program& program) {
  return [&program](AuditRecord& record) {
    record.time = currentTime();
    record.host = TidraHost::name(program.environment);
    record.runID = makeUuid();
    record.actor = "tidra audit repair";
  };
}

int repair(const AuditOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const std::string url = logPath(options, resolver);
  const std::string name = escapedForTerminal(url);
  const auto tail = AuditLog::findTornTail(url);
  if (!tail) {
    writeOut(fmt::format("{} ends in a complete record; there is nothing to repair.\n", name));
    return ExitStatus::done;
  }
  const std::string what = fmt::format("{} from byte {} on", counted(tail->bytes, "byte", "bytes"), tail->offset);
  if (program.options.dryRun) {
    writeOut(fmt::format("{} would be moved out of {} into a file beside it.\n", what, name));
    return ExitStatus::done;
  }
  if (!confirmed({fmt::format("Move {}, which are no record, out of {}?", what, name), {}}, program)) {
    writeNote("Nothing was changed.");
    return ExitStatus::done;
  }
  // Take the run lock first: a torn last line may be a write in progress.
  RunLock lock(options.lock ? absolutePath(*options.lock, resolver) : resolver.expandedPath("~/.tidra/fleet.lock"));
  try {
    lock.acquire();
  } catch (const RunLock::LockError& busy) {
    writeError(fmt::format("{}. {}", busy.what(), busy.help()));
    return ExitStatus::lockHeld;
  }
  if (const auto done = AuditLog::repair(url, repairBuilder(program))) {
    writeOut(fmt::format("{} moved from {} to {}; record {} documents it.\n", counted(done->bytes, "byte", "bytes"),
                         name, escapedForTerminal(done->movedTo), done->record.seq));
  } else {
    writeOut(fmt::format("{} ends in a complete record by now; nothing was changed.\n", name));
  }
  return ExitStatus::done;
}

}  // namespace

void addAuditCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<AuditOptions>();
  CLI::App* command = app.add_subcommand("audit", "The log of what unattended runs did");
  command->require_subcommand(1);
  command->footer(
      "Examples:\n"
      "  tidra audit verify                  whether the log is whole and unchanged\n"
      "  tidra audit show --event disposed   what was removed, when and where to");
  const auto add = [&](const std::string& name, const std::string& what,
                       int (*run)(const AuditOptions&, const Program&)) {
    CLI::App* subcommand = command->add_subcommand(name, what);
    subcommand->add_option("FILE", options->file, "The log, instead of ~/.tidra/audit.jsonl")->type_name("");
    subcommand->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");
    subcommand->callback(
        [&program, options, run] { program.command = [&program, options, run] { return run(*options, program); }; });
    return subcommand;
  };
  add("verify", "Whether every record is there and unchanged; exit status 0 or 1", &verify)
      ->footer("Examples:\n  tidra audit verify\n  tidra audit verify /backup/audit.jsonl && echo unchanged");
  CLI::App* showing = add("show", "The records, oldest first", &show);
  showing->add_option("--run", options->run, "Only those of this run")->type_name("ID");
  showing->add_option("--event", options->events, "Only these events")->type_name("EVENT,...")->delimiter(',');
  showing->add_option("--path", options->path, "Only those about this path or something below it")->type_name("PATH");
  showing->add_flag("--json", options->json, "Print one JSON document");
  showing->footer("Examples:\n  tidra audit show --event disposed,purged\n  tidra audit show --path ~/code --json");
  CLI::App* repairing = add("repair", "Move a torn end of the log into a file of its own", &repair);
  repairing->add_option("--lock", options->lock, "The lock file of the runs, instead of ~/.tidra/fleet.lock")
      ->type_name("FILE");
  repairing->footer("Examples:\n  tidra audit repair --dry-run\n  tidra audit repair /var/lib/tidra/audit.jsonl --yes");
}

}  // namespace tidra
