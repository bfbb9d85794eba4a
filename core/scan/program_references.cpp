// To cover another kind of entry, add a row to the table below.
#include "core/scan/program_references.h"

#include <algorithm>
#include <array>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_filter.h"

namespace tidra {
namespace {

/// Entries that lead to programs: below the home folder, or anywhere with a leading "/". Wildcards stand for one
/// component; the last one is the name that is shown.
struct EntryPlace {
  std::string_view pattern;
  ProgramReferences::Texts texts = ProgramReferences::Texts::none;
};

using Texts = ProgramReferences::Texts;

constexpr std::array entryPlaces{
    // Commands.
    EntryPlace{"bin/*", Texts::scripts},
    EntryPlace{".local/bin/*", Texts::scripts},
    EntryPlace{"/usr/local/bin/*"},
    // Packages that are linked to the folder where somebody works on them.
    EntryPlace{".npm-global/lib/node_modules/*"},
    EntryPlace{".npm-global/lib/node_modules/@*/*"},
    EntryPlace{".npm-packages/lib/node_modules/*"},
    EntryPlace{".npm-packages/lib/node_modules/@*/*"},
    EntryPlace{".nvm/versions/node/*/lib/node_modules/*"},
    EntryPlace{".nvm/versions/node/*/lib/node_modules/@*/*"},
    EntryPlace{"/usr/local/lib/node_modules/*"},
    EntryPlace{"/usr/local/lib/node_modules/@*/*"},
    EntryPlace{".local/share/pnpm/global/*/node_modules/*"},
    EntryPlace{".config/yarn/link/*"},
    EntryPlace{".bun/install/global/node_modules/*"},
    // Services, menu entries and what starts with the desktop.
    EntryPlace{".config/systemd/user/*.service", Texts::settings},
    EntryPlace{".config/systemd/user/*.service.d/*.conf", Texts::settings},
    EntryPlace{".local/share/applications/*.desktop", Texts::settings},
    EntryPlace{".config/autostart/*.desktop", Texts::settings},
    EntryPlace{"Library/LaunchAgents/*.plist", Texts::settings},
    // Kernels of Jupyter.
    EntryPlace{".local/share/jupyter/kernels/*/kernel.json", Texts::settings},
    EntryPlace{"Library/Jupyter/kernels/*/kernel.json", Texts::settings},
};

constexpr std::size_t largestText = 64_KiB;

struct HomeSpelling {
  std::string_view text;
};
constexpr std::array homeSpellings{HomeSpelling{"~/"},  HomeSpelling{"$HOME/"},     HomeSpelling{"${HOME}/"},
                                   HomeSpelling{"%h/"}, HomeSpelling{"\"$HOME\"/"}, HomeSpelling{"\"${HOME}\"/"}};

/// After such a character "/" continues a path or word.
bool continuesPath(char c) {
  return isAsciiAlphanumeric(c) || std::string_view("._-/~}+@)%<").find(c) != std::string_view::npos;
}

bool endsPath(char c, char quote) {
  if (quote != 0) return c == quote || c == '\n' || std::string_view(":;$*%").find(c) != std::string_view::npos;
  return static_cast<unsigned char>(c) <= ' ' || std::string_view("\"'`;:,|&<>()$*%").find(c) != std::string_view::npos;
}

}  // namespace

std::vector<std::string> pathsNamedIn(std::string_view text, const std::string& home) {
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char before = i == 0 ? '\n' : text[i - 1];
    if (continuesPath(before)) continue;
    const auto rest = text.substr(i);
    const auto spelling = std::find_if(homeSpellings.begin(), homeSpellings.end(),
                                       [&](const HomeSpelling& one) { return rest.starts_with(one.text); });
    if (spelling == homeSpellings.end() && rest.front() != '/') continue;
    std::string path = "/";
    if (spelling != homeSpellings.end()) path = home + "/";
    i += spelling == homeSpellings.end() ? 1 : spelling->text.size();
    const char quote = before == '"' || before == '\'' ? before : '\0';
    for (; i < text.size() && !endsPath(text[i], quote); ++i) {
      if (text[i] == '\\' && i + 1 < text.size()) ++i;
      path += text[i];
    }
    paths.push_back(std::move(path));
  }
  return paths;
}

ProgramReferences::ProgramReferences(const TidraPathResolver& resolver) : home_(resolver.home) {
  for (const EntryPlace& place : entryPlaces) {
    const bool isAbsolute = place.pattern.starts_with('/');
    readPlace(resolver, isAbsolute ? "/" : home_, place.pattern.substr(isAbsolute ? 1 : 0), place.texts);
  }
  readSearchPath(resolver);
  listed_.clear();
  realFolders_.clear();
}

std::optional<std::string> ProgramReferences::into(const std::string& folder) const {
  auto name = find(links_, folder);
  return name ? name : find(named_, folder);
}

std::optional<std::string> ProgramReferences::linkedInto(const std::string& folder) const {
  return find(links_, folder);
}

std::optional<std::string> ProgramReferences::scriptedInto(const std::string& folder) const {
  return find(scripted_, folder);
}

std::optional<std::string> ProgramReferences::namingFileOf(const std::string& project) const {
  const std::string start = project + "/";
  for (const Names* names : {&named_, &scripted_}) {
    for (auto named = names->lower_bound(start); named != names->end() && named->first.starts_with(start); ++named) {
      const auto facts = pathFacts(named->first);
      if (facts && facts->type == EntryType::regularFile) return named->second;
    }
  }
  return std::nullopt;
}

bool ProgramReferences::Budget::take(std::size_t& part, std::size_t amount) {
  isExceeded = isExceeded || amount > part;
  part -= std::min(part, amount);
  return !isExceeded;
}

/// Each place has a budget of its own, so that a large one hides no other.
void ProgramReferences::readPlace(const TidraPathResolver& resolver, const std::string& folder,
                                  std::string_view pattern, Texts texts) {
  left_ = {};
  readPlaces(folder, pattern, texts, {});
  if (left_.isExceeded) partlyRead_.push_back(resolver.displayPath(joinedPath(folder, pattern)));
}

/// Expands the first component of the pattern in a folder.
void ProgramReferences::readPlaces(const std::string& folder, std::string_view pattern, Texts texts,
                                   const std::string& name) {
  const auto slash = pattern.find('/');
  const std::string component(pattern.substr(0, slash));
  const auto next = [&](std::string_view entry, const std::string& shown) {
    const std::string path = joinedPath(folder, entry);
    if (slash == std::string_view::npos) return readEntry(path, texts, shown);
    readPlaces(path, pattern.substr(slash + 1), texts, shown);
  };
  if (!isGlob(component)) return next(component, name);
  if (!listed_.insert(joinedPath(folder, pattern)).second) return;
  const auto opened = openDirectory(folder);
  if (!opened) return;
  DirectoryReader reader;
  reader.start(opened->get());
  std::vector<std::string> entries;
  for (DirectoryEntry entry; reader.next(entry) && left_.take(left_.entries);) {
    if (globMatches(component, entry.name.data())) entries.emplace_back(entry.name);
  }
  for (const std::string& entry : entries) next(entry, entry);
}

void ProgramReferences::readEntry(const std::string& path, Texts texts, const std::string& name) {
  if (linkTarget(path)) add(path, name, links_);
  if (texts == Texts::none) return;
  const auto facts = followedFacts(path);
  if (!facts || facts->type != EntryType::regularFile || facts->sizeBytes > largestText) return;
  if (!left_.take(left_.bytes, facts->sizeBytes)) return;
  const auto text = readRegularFile(path, largestText);
  if (!text || text->find('\0') != std::string::npos) return;
  for (std::string& named : pathsNamedIn(*text, home_)) {
    if (!left_.take(left_.paths)) return;
    add(std::move(named), name, texts == Texts::scripts ? scripted_ : named_);
  }
}

/// Folders of PATH in the home folder, and the global packages beside them. Not those that package managers and
/// activated environments add for the time of a command or a shell.
void ProgramReferences::readSearchPath(const TidraPathResolver& resolver) {
  const auto valueOf = [&](const char* name) {
    const auto variable = resolver.environment.find(name);
    return variable == resolver.environment.end() ? std::string() : variable->second;
  };
  const std::string searched = valueOf("PATH");
  const std::string activated = joinedPath(standardizedPath(valueOf("VIRTUAL_ENV")), "bin");
  const std::string realHome = realPathOrSame(home_);
  for (const std::string_view piece : splitNonEmpty(searched, ':')) {
    if (!piece.starts_with('/')) continue;
    const std::string folder = standardizedPath(piece);
    if (folder == activated || folder.ends_with("/node_modules/.bin")) continue;
    const std::string real = realPathOrSame(folder);
    if (!isSameOrInside(real, realHome) || real == realHome) continue;
    add(real, resolver.displayPath(folder) + " (in PATH)", named_);
    readPlace(resolver, folder, "*", Texts::scripts);
    for (const char* packages : {"*", "@*/*"}) {
      readPlace(resolver, joinedPath(parentPath(folder), "lib/node_modules"), packages, Texts::none);
    }
  }
}

/// Adds each step of a chain of symbolic links: the last one of an environment's Python leads out of the environment.
void ProgramReferences::add(std::string path, const std::string& name, Names& names) {
  constexpr int mostSteps = 16;
  for (int step = 0; step < mostSteps; ++step) {
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    const auto last = lastPathComponent(path);
    const bool isNamed = !last.empty() && last != "." && last != "..";
    const auto& folder = realFolder(isNamed ? parentPath(path) : path);
    if (!folder) return;
    const std::string place = isNamed ? joinedPath(*folder, last) : *folder;
    const auto target = linkTarget(place);
    // A link lies in its own folder by no reference.
    if (step > 0 || &names != &links_) names.try_emplace(place, name);
    if (!target) return;
    path = target->starts_with('/') ? *target : joinedPath(*folder, *target);
  }
}

/// Texts name the same few folders again and again.
const std::optional<std::string>& ProgramReferences::realFolder(const std::string& folder) {
  const auto [known, isNew] = realFolders_.try_emplace(folder);
  if (isNew) {
    if (const auto real = realPath(folder)) known->second = *real;
  }
  return known->second;
}

std::optional<std::string> ProgramReferences::find(const Names& names, const std::string& folder) {
  auto found = names.find(folder);
  if (found == names.end()) {
    const std::string inside = folder + "/";
    found = names.lower_bound(inside);
    if (found == names.end() || !found->first.starts_with(inside)) return std::nullopt;
  }
  return found->second;
}

}  // namespace tidra
