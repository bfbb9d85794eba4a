// A command is split into words, at ";", "&" and "|" into calls. The program of a call is its first word behind
// assignments and wrappers such as "npx". A word that names the folder is an output behind an output option, as the
// target of a copier, and of programs that only serve or remove results. It is something else as the subcommand of a
// build tool, as in "vite build", and as the name of a script or task. Everything else reads from the folder.
#include "core/scan/package_scripts.h"

#include <algorithm>
#include <array>

#include "core/base/text.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

struct Word {
  std::string_view text;
  bool isValue = false;  // follows "=" directly
};
using Words = std::vector<Word>;

bool isOneOf(std::string_view word, std::string_view words) {
  const auto known = splitNonEmpty(words, ' ');
  return std::find(known.begin(), known.end(), word) != known.end();
}

constexpr std::string_view buildTools =
    "tsc vue-tsc vite webpack rollup esbuild parcel babel swc tsup tsdown microbundle unbuild ncc rspack rslib rsbuild "
    "ng nest next nuxt nuxi astro gatsby react-scripts vue-cli-service svelte-kit svelte-package gulp grunt bob "
    "browserify ng-packagr turbo lerna nx craco react-app-rewired docusaurus remix react-router preact razzle quasar";
/// Other programs with a subcommand "build".
constexpr std::string_view otherBuilders =
    "docker podman go cargo deno bun hugo storybook vitepress vuepress expo tauri";
/// Their bare words are names of scripts and tasks.
constexpr std::string_view taskRunners = "lerna nx turbo rush run-s run-p npm-run-all gulp grunt";
constexpr std::string_view packageManagers = "npm yarn pnpm bun";
constexpr std::string_view wrappers = "env npx bunx pnpx cross-env cross-env-shell concurrently shx dotenv time nice";
constexpr std::string_view usersOfResults =
    "rm rimraf del del-cli trash mkdir mkdirp serve http-server live-server gh-pages touch";
constexpr std::string_view copiers = "cp mv cpx cpy copyfiles ncp rsync";

/// The calls of a command. Quotes, parentheses and "=" separate words too: "--out=dist" is an option and its value.
std::vector<Words> callsOf(std::string_view command) {
  std::vector<Words> calls(1);
  bool isValue = false;
  while (!command.empty()) {
    const auto end = std::min(command.find_first_of(" \t\n\"'`()=;&|"), command.size());
    if (end > 0) calls.back().push_back({command.substr(0, end), isValue});
    const char separator = end < command.size() ? command[end] : ' ';
    if (separator == ';' || separator == '&' || separator == '|' || separator == '\n') calls.emplace_back();
    isValue = separator == '=' || (isValue && end == 0 && (separator == '"' || separator == '\''));
    command.remove_prefix(std::min(end + 1, command.size()));
  }
  return calls;
}

/// The name of the program at a path: "tsc" of "node_modules/.bin/tsc" and of "node_modules/typescript/bin/tsc.js".
std::string_view programName(std::string_view path) {
  if (const auto packages = path.find("node_modules/"); packages == std::string_view::npos) return path;
  path = lastPathComponent(path);
  return path.ends_with("js") ? path.substr(0, path.find('.')) : path;
}

/// The words of one call, and which of them is its program.
class Call {
 public:
  explicit Call(const Words& words) : words_(words) {
    skip(wrappers);
    const std::string_view first = program();
    if (!isOneOf(first, packageManagers) && first != "node") return;
    // "yarn exec vite build", "node --some-option node_modules/vite/bin/vite.js build"
    const std::size_t outer = program_++;
    skip("exec x dlx run");
    const bool isExecuted = program_ > 0 && isOneOf(words_[program_ - 1].text, "exec x dlx");
    if (!isExecuted && !isOneOf(program(), buildTools)) program_ = outer;
  }

  const Words& words() const { return words_; }
  std::size_t programAt() const { return program_; }
  std::string_view program() const { return program_ < words_.size() ? programName(words_[program_].text) : ""; }
  bool runs(std::string_view programs) const { return isOneOf(program(), programs); }

  bool holds(std::string_view words) const {
    return std::any_of(words_.begin(), words_.end(), [&](const Word& word) { return isOneOf(word.text, words); });
  }

  /// Whether nothing but options follows behind a word.
  bool isLast(std::size_t at) const {
    return std::all_of(words_.begin() + static_cast<std::ptrdiff_t>(at) + 1, words_.end(),
                       [](const Word& word) { return word.text.starts_with('-'); });
  }

 private:
  /// Skips these words, options and assignments.
  void skip(std::string_view these) {
    const auto isSkipped = [&](std::size_t at) {
      const bool isName = at + 1 < words_.size() && words_[at + 1].isValue;
      return isName || words_[at].isValue || words_[at].text.starts_with('-') || isOneOf(words_[at].text, these);
    };
    while (program_ < words_.size() && isSkipped(program_)) ++program_;
  }

  const Words& words_;
  std::size_t program_ = 0;
};

/// Whether a part of an option's name is one of these: "out" is a part of "--outDir" and "--out-dir", not of
/// "--layout".
bool hasPart(std::string_view option, std::string_view parts) {
  std::string name;
  for (const char letter : option) {
    if (letter >= 'A' && letter <= 'Z') name += '-';
    name += letter;
  }
  const std::string lowered = asciiLowered(name);
  const auto its = splitNonEmpty(lowered, '-');
  return std::any_of(its.begin(), its.end(), [&](std::string_view part) { return isOneOf(part, parts); });
}

/// Whether what follows the option is written: "--outDir", "-o", "BUILD_PATH".
bool takesOutput(std::string_view option, const Call& call) {
  if (option == "BUILD_PATH" || option == "DIST_DIR" || option == "-o") return true;
  if (!option.starts_with('-')) return false;
  if (option == "-d") return call.runs(buildTools);
  if (option == "--dir" || option == "--file") return call.runs("rollup");
  return isOneOf(asciiLowered(option), "--declarationdir --target-dir") ||
         hasPart(option, "out output outdir outfile dist distdir dest destdir destination");
}

/// Whether a word is the folder of the project or a path in it, however it is written: "./build/x", "$PWD/build",
/// "../NAME/build".
bool isWithin(std::string_view word, std::string_view folder, const std::string& project) {
  if (word.starts_with(project + "/")) word.remove_prefix(project.size());
  for (const std::string_view component : splitNonEmpty(word, '/')) {
    if (component == folder) return true;
    const bool isOnTheWay = component == "." || component == ".." || component.starts_with('$') ||
                            component.starts_with('%') || component == lastPathComponent(project);
    if (!isOnTheWay) return false;
  }
  return false;
}

enum class Role { none, output, source };

/// What the word at `at`, the folder or a path in it, is to its call.
Role roleOf(std::size_t at, const Call& call, std::string_view folder) {
  const std::string_view before = at > 0 ? call.words()[at - 1].text : "";
  if (takesOutput(before, call) || (call.runs(copiers) && call.isLast(at))) return Role::output;
  if (call.runs(usersOfResults) || (before.starts_with('-') && hasPart(before, "ignore exclude"))) return Role::none;
  const bool isBare = call.words()[at].text == folder;
  if (!isBare) return Role::source;
  if (isOneOf(before, "--prefix --cwd --dir -C --gulpfile")) return Role::source;
  const bool isScript = isOneOf(before, packageManagers) || before == "run" || before.starts_with('-');
  if (call.runs(taskRunners) || (call.runs(packageManagers) && isScript)) return Role::none;
  const bool isSubcommand = at == call.programAt() + 1 && folder == "build";
  return isSubcommand && (call.runs(buildTools) || call.runs(otherBuilders)) ? Role::none : Role::source;
}

/// The scripts that build, and the scripts that run before publishing, with their variants ("build:prod").
bool isNamedAsBuilder(std::string_view name) {
  return isOneOf(name, "prepare prepack prepublish prepublishOnly") ||
         isOneOf(name.substr(0, name.find_first_of(":-")), "build dist compile bundle");
}

}  // namespace

bool PackageScripts::mayMake(std::string_view folder, const std::string& project) const {
  const std::string whole(folder);
  const std::string spellings = whole + " ./" + whole + " " + whole + "/ ./" + whole + "/";
  bool builds = false;
  for (const auto& [name, command] : scripts_) {
    const bool mayBuild = isNamedAsBuilder(name);
    for (const Words& words : callsOf(command)) {
      const Call call(words);
      // Its default folder for icons and installer scripts.
      if (folder == "build" && call.holds("electron-builder electron-forge build-electron")) return false;
      bool writes = call.runs(buildTools);
      for (std::size_t at = 0; at < words.size(); ++at) {
        if (!isWithin(words[at].text, folder, project)) continue;
        const Role role = roleOf(at, call, folder);
        // "node dist/main" starts what was built; nobody keeps sources in "dist" to start them.
        if (role == Role::source && (mayBuild || folder != "dist")) return false;
        // One file written into the folder does not show that all of it is made.
        const bool isAll = isOneOf(words[at].text, spellings);
        writes = writes || (role == Role::output && isAll);
      }
      builds = builds || (mayBuild && writes);
    }
  }
  return builds;
}

std::vector<std::string> PackageScripts::words() const {
  constexpr std::size_t most = 256;
  std::vector<std::string> words;
  for (const Script& script : scripts_) {
    for (const Words& call : callsOf(script.command)) {
      for (const Word& word : call) {
        if (words.size() < most && std::find(words.begin(), words.end(), word.text) == words.end())
          words.emplace_back(word.text);
      }
    }
  }
  return words;
}

}  // namespace tidra
