// A command is split into words, at ";", "&" and "|" into calls. A word that names the folder is an output behind an
// output option and of programs that only serve, copy or remove results. Otherwise it is a source; only a bare word
// that no interpreter runs is something else, as in "vite build".
#include "core/scan/package_scripts.h"

#include <algorithm>
#include <array>

#include "core/base/text.h"

namespace tidra {
namespace {

using Words = std::vector<std::string_view>;

bool isOneOf(std::string_view word, std::string_view words) {
  const auto known = splitNonEmpty(words, ' ');
  return std::find(known.begin(), known.end(), word) != known.end();
}

constexpr std::string_view buildTools =
    "build tsc vue-tsc vite webpack rollup esbuild parcel babel swc tsup tsdown microbundle unbuild ncc rspack rslib "
    "rsbuild ng nest next nuxt nuxi astro gatsby react-scripts vue-cli-service svelte-kit svelte-package gulp grunt "
    "bob "
    "browserify ng-packagr turbo lerna nx";
constexpr std::string_view interpreters =
    "node nodemon ts-node tsx jiti esno babel-node coffee sh bash zsh source . python python3 ruby perl php cd pushd";
constexpr std::string_view packageManagers =
    "npm yarn pnpm bun lerna nx turbo rush run-s run-p npm-run-all concurrently";
constexpr std::string_view usersOfResults =
    "rm rimraf del del-cli trash mkdir mkdirp serve http-server live-server gh-pages touch";
constexpr std::string_view copiers = "cp cpx cpy copyfiles ncp rsync";

/// The calls of a command. Quotes, parentheses and "=" separate words too: "--out=dist" is an option and its value.
std::vector<Words> callsOf(std::string_view command) {
  std::vector<Words> calls(1);
  while (!command.empty()) {
    const auto end = std::min(command.find_first_of(" \t\n\"'`()=;&|"), command.size());
    if (end > 0) calls.back().push_back(command.substr(0, end));
    if (end < command.size() && std::string_view(";&|\n").find(command[end]) != std::string_view::npos)
      calls.emplace_back();
    command.remove_prefix(std::min(end + 1, command.size()));
  }
  return calls;
}

bool holds(const Words& call, std::string_view words) {
  return std::any_of(call.begin(), call.end(), [&](std::string_view word) { return isOneOf(word, words); });
}

/// Whether what follows the word is written, or left alone: "--outDir", "-o", "BUILD_PATH", "--ignore".
bool takesOutput(std::string_view word, const Words& call) {
  const std::string name = asciiLowered(word);
  if (name == "build_path" || name == "dist_dir") return true;
  if (!name.starts_with('-')) return false;
  constexpr std::array<std::string_view, 5> parts{"out", "dist", "dest", "ignore", "exclude"};
  return isOneOf(name, "-o -d --declarationdir --target-dir") ||
         (isOneOf(name, "--dir --file") && holds(call, "rollup")) ||
         std::any_of(parts.begin(), parts.end(), [&](auto part) { return name.find(part) != std::string::npos; });
}

/// Whether the call reads from the folder.
bool readsFrom(const Words& call, std::string_view folder, bool mayRunResults) {
  if (holds(call, usersOfResults)) return false;
  for (std::size_t i = 0; i < call.size(); ++i) {
    std::string_view word = call[i];
    const bool isRelative = word.starts_with("./");
    if (isRelative) word.remove_prefix(2);
    if (!word.starts_with(folder)) continue;
    const bool isBare = word == folder && !isRelative;
    if (word != folder && word[folder.size()] != '/') continue;
    if (i > 0 && takesOutput(call[i - 1], call)) continue;
    if (i + 1 == call.size() && holds(call, copiers)) continue;
    if (mayRunResults) continue;
    if (!isBare) return true;
    const Words before(call.begin(), call.begin() + static_cast<std::ptrdiff_t>(i));
    const bool isOptions = i > 0 && before.back().starts_with('-');
    if (holds(before, interpreters) || (isOptions && !holds(before, packageManagers))) return true;
  }
  return false;
}

/// "build", "dist", "compile" and "bundle" build; their variants ("build:prod") and the scripts that run before
/// publishing do if their commands call a tool that builds.
bool isBuilder(std::string_view name, const std::vector<Words>& calls) {
  constexpr std::string_view builders = "build dist compile bundle";
  if (isOneOf(name, builders)) return true;
  return (isOneOf(name, "prepare prepack prepublish prepublishOnly") ||
          isOneOf(name.substr(0, name.find_first_of(":-")), builders)) &&
         std::any_of(calls.begin(), calls.end(), [](const Words& call) { return holds(call, buildTools); });
}

}  // namespace

bool PackageScripts::mayMake(std::string_view folder) const {
  bool builds = false;
  for (const auto& [name, command] : scripts_) {
    const auto calls = callsOf(command);
    const bool isBuild = isBuilder(name, calls);
    builds = builds || isBuild;
    // "node dist/main" starts what was built; nobody keeps sources in "dist" to start them.
    const bool mayRunResults = !isBuild && folder == "dist";
    for (const Words& call : calls) {
      if (readsFrom(call, folder, mayRunResults)) return false;
      // Its default folder for icons and installer scripts.
      if (folder == "build" && holds(call, "electron-builder electron-forge build-electron")) return false;
    }
  }
  return builds;
}

}  // namespace tidra
