#include "core/scan/probes/pip_trust.h"

#include <algorithm>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/process_runner.h"

namespace tidra {
namespace {

constexpr std::size_t longestScript = 64_KiB;

/// Accepts "python", "python3", "python3.11".
bool isInterpreterName(std::string_view name) {
  return name.starts_with("python") && name.find_first_not_of("0123456789.", 6) == std::string_view::npos;
}

/// Accepts paths that a shell reads literally, quoted or not.
bool isPlainPath(std::string_view path) {
  return path.starts_with('/') && std::all_of(path.begin(), path.end(), [](char c) {
           return isAsciiAlphanumeric(c) || static_cast<unsigned char>(c) > 0x7f ||
                  std::string_view("/._+-@,=").find(c) != std::string_view::npos;
         });
}

/// Returns PATH of "'''exec' PATH "$0" "$@"", with either kind of quotes or none.
std::string interpreterOfExec(std::string_view line) {
  constexpr std::string_view start = "'''exec' ";
  constexpr std::string_view end = " \"$0\" \"$@\"";
  if (!line.starts_with(start) || !line.ends_with(end) || line.size() <= start.size() + end.size()) return {};
  line.remove_prefix(start.size());
  line.remove_suffix(end.size());
  const bool quoted = line.size() > 2 && line.front() == line.back() && (line.front() == '"' || line.front() == '\'');
  if (quoted) line = line.substr(1, line.size() - 2);
  // Blanks, the reason for pip's quotes, are literal only inside quotes.
  std::string unquoted(line);
  if (quoted) std::replace(unquoted.begin(), unquoted.end(), ' ', '_');
  return isPlainPath(unquoted) ? std::string(line) : std::string{};
}

/// Whether the interpreter resolves to a trusted program outside the environment.
bool isTrustedInterpreter(const std::string& interpreter, const std::string& realEnvironment) {
  const auto real = realPath(interpreter);
  return real && !isSameOrInside(*real, realEnvironment) && ProcessRunner::isTrusted(*real);
}

bool isUntracked(const std::string& folder, const TidraGitMetadataReader& git) {
  const auto tracked = git.tracked({folder});
  return tracked.held.empty() && tracked.unknown.empty();
}

}  // namespace

std::string PipTrust::interpreterOf(std::string_view script) {
  const auto lines = split(script, '\n');
  if (lines[0] == "#!/bin/sh" && lines.size() > 2 && lines[2] == "' '''") return interpreterOfExec(lines[1]);
  // The kernel passes text after a blank as an argument.
  const bool isPath = lines[0].starts_with("#!/") && lines[0].find_first_of(" \t\r") == std::string_view::npos;
  return isPath ? std::string(lines[0].substr(2)) : std::string{};
}

bool PipTrust::mayRun(const std::string& environment, const TidraGitMetadataReader& git) {
  const std::string programs = joinedPath(environment, "bin");
  const std::string pip = joinedPath(programs, "pip");
  if (!isOwnedAndPrivate(environment) || !ProcessRunner::isTrusted(pip)) return false;
  const auto real = realPath(environment);
  const auto realPrograms = realPath(programs);
  const auto script = readRegularFile(pip, longestScript);
  if (!real || !realPrograms || *realPrograms != joinedPath(*real, "bin") || !script) return false;
  const std::string interpreter = interpreterOf(*script);
  // An environment reached through a symbolic link may have been created under either path.
  const std::string folder = parentPath(interpreter);
  if (folder != programs && folder != *realPrograms) return false;
  return isInterpreterName(lastPathComponent(interpreter)) && isTrustedInterpreter(interpreter, *real) &&
         isTrustedInterpreter(joinedPath(programs, "python"), *real) && isUntracked(*realPrograms, git);
}

}  // namespace tidra
