// Three kinds of evidence. Location: the table below of places used only by tool managers, editors and applications
// (add new tools there). Structure: a global npm prefix, an Electron application, extensions of a portable editor, a
// program with its own Node. References: entries that lead there, read by ProgramReferences.
#include "core/scan/installed_programs.h"

#include <algorithm>
#include <array>
#include <vector>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_filter.h"

namespace tidra {
namespace {

/// `place` is a sequence of path components anywhere in a path, with wildcards within components. If `program` is
/// empty, the last matched component is the name.
struct ProgramPlace {
  std::string_view place;
  std::string_view program;
};

constexpr std::array programPlaces{
    // Version managers and what they install.
    ProgramPlace{".nvm", "nvm"},
    ProgramPlace{".fnm", "fnm"},
    ProgramPlace{"fnm/node-versions", "fnm"},
    ProgramPlace{".volta", "Volta"},
    ProgramPlace{".asdf", "asdf"},
    ProgramPlace{".nodenv", "nodenv"},
    ProgramPlace{".nodebrew", "nodebrew"},
    ProgramPlace{".proto", "proto"},
    ProgramPlace{".pyenv", "pyenv"},
    ProgramPlace{".rbenv", "rbenv"},
    ProgramPlace{".rvm", "RVM"},
    ProgramPlace{".sdkman", "SDKMAN"},
    ProgramPlace{".jenv", "jEnv"},
    ProgramPlace{".rye", "Rye"},
    ProgramPlace{".rustup", "rustup"},
    ProgramPlace{".cargo/registry", "Cargo"},
    ProgramPlace{"go/pkg/mod", "Go"},
    // Global packages.
    ProgramPlace{".npm-global", "npm"},
    ProgramPlace{".npm-packages", "npm"},
    ProgramPlace{".config/yarn/global", "Yarn"},
    ProgramPlace{".yarn/global", "Yarn"},
    ProgramPlace{"pnpm/global", "pnpm"},
    ProgramPlace{".bun", "Bun"},
    ProgramPlace{".deno", "Deno"},
    ProgramPlace{"pipx/venvs/*", ""},
    ProgramPlace{"uv/tools/*", ""},
    // Editors and their extensions.
    ProgramPlace{".vscode*/extensions/*", ""},
    ProgramPlace{".vscode-server*", "VS Code Server"},
    ProgramPlace{".cursor*/extensions/*", ""},
    ProgramPlace{".windsurf*/extensions/*", ""},
    ProgramPlace{".positron*/extensions/*", ""},
    ProgramPlace{".antigravity/extensions/*", ""},
    ProgramPlace{".theia/extensions/*", ""},
    ProgramPlace{".atom/packages/*", ""},
    ProgramPlace{".vim/plugged/*", ""},
    ProgramPlace{".vim/bundle/*", ""},
    ProgramPlace{".vim/pack/*", "Vim"},
    ProgramPlace{".emacs.d/elpa/*", ""},
    ProgramPlace{".oh-my-zsh", "Oh My Zsh"},
    ProgramPlace{".jupyter", "Jupyter"},
    // What applications keep for themselves.
    ProgramPlace{".config/*", ""},
    ProgramPlace{".local/share/*", ""},
    ProgramPlace{".local/lib/*", ""},
    ProgramPlace{".local/opt/*", ""},
    ProgramPlace{".var/app/*", ""},
    ProgramPlace{"Library/Application Support/*", ""},
    ProgramPlace{"*.app/Contents", "application bundle"},
};

/// Returns the index of the component where the row ends in the path; nullopt without a match.
std::optional<std::size_t> findRow(const std::vector<std::string_view>& components, std::string_view row) {
  const auto wanted = split(row, '/');
  for (std::size_t start = 0; start + wanted.size() <= components.size(); ++start) {
    const auto matches = [&](std::size_t i) {
      if (!isGlob(wanted[i])) return components[start + i] == wanted[i];
      return globMatches(std::string(wanted[i]), std::string(components[start + i]).c_str());
    };
    std::size_t i = 0;
    while (i < wanted.size() && matches(i)) ++i;
    if (i == wanted.size()) return start + i - 1;
  }
  return std::nullopt;
}

/// Recognises an npm prefix: packages in "lib/node_modules", commands in "bin". Also one without "bin" that contains
/// npm itself, as an unpacked Node does.
std::optional<std::string> globalPrefix(const std::string& path) {
  if (lastPathComponent(path) != "node_modules" || pathExists(joinedPath(parentPath(path), "package.json"))) {
    return std::nullopt;
  }
  const std::string above = parentPath(path);
  const bool isPrefix = lastPathComponent(above) == "lib" && pathExists(joinedPath(parentPath(above), "bin"));
  if (isPrefix || pathExists(joinedPath(path, "npm/bin/npm-cli.js"))) return "npm";
  return std::nullopt;
}

/// Recognises an Electron application: "resources" with files in or beside it that only its builds place there.
bool isElectronResources(const std::string& resources) {
  constexpr std::array inside{"app.asar", "default_app.asar", "electron.asar", "app.asar.unpacked"};
  constexpr std::array beside{"resources.pak", "chrome_100_percent.pak", "snapshot_blob.bin", "v8_context_snapshot.bin",
                              "icudtl.dat"};
  const std::string program = parentPath(resources);
  return std::any_of(inside.begin(), inside.end(),
                     [&](auto name) { return pathExists(joinedPath(resources, name)); }) ||
         std::any_of(beside.begin(), beside.end(), [&](auto name) { return pathExists(joinedPath(program, name)); }) ||
         isExecutableFile(joinedPath(program, asciiLowered(lastPathComponent(program))));
}

/// Recognises a program shipped with its own interpreter, anywhere below its folder. "bin/node" counts for the modules
/// beside it only: prefixes and projects have it too.
bool bringsOwnNode(const std::string& folder, bool isBeside) {
  // In "lib" it belongs to the program's folder above.
  if (lastPathComponent(folder) == "lib") return false;
  constexpr std::array places{"node", "node/bin/node", "lib/node"};
  return std::any_of(places.begin(), places.end(),
                     [&](auto place) { return isExecutableFile(joinedPath(folder, place)); }) ||
         (isBeside && isExecutableFile(joinedPath(folder, "bin/node")));
}

/// Recognises "data/extensions" of a portable editor by its list of installed extensions.
bool isPortableEditors(const std::string& folder) {
  return lastPathComponent(folder) == "extensions" && lastPathComponent(parentPath(folder)) == "data" &&
         pathExists(joinedPath(folder, "extensions.json"));
}

/// Bounds the levels between a program's folder and a folder of it.
constexpr int mostLevelsInside = 6;

/// Both paths have their symbolic links resolved.
std::optional<std::string> ownerByStructure(const std::string& path, const std::string& home) {
  if (auto npm = globalPrefix(path)) return npm;
  std::string folder = parentPath(path);
  for (int level = 0; level < mostLevelsInside && folder != "/"; ++level, folder = parentPath(folder)) {
    const std::string above = parentPath(folder);
    const auto name = lastPathComponent(folder);
    if ((name == "resources" || name == "Resources") && isElectronResources(folder)) {
      return std::string(lastPathComponent(above));
    }
    if (isPortableEditors(above)) return std::string(name);
    const bool mayBeProgram = level == 0 || !(isSameOrInside(home, folder) || pathExists(joinedPath(folder, ".git")));
    if (mayBeProgram && bringsOwnNode(folder, level == 0)) return std::string(name);
  }
  return std::nullopt;
}

/// Hidden folders of the home folder belong to programs, except repositories kept there.
std::optional<std::string> ownerByHome(const std::string& path, const std::string& home) {
  if (!isSameOrInside(path, home) || path == home) return std::nullopt;
  const std::string below(pathBelow(path, home));
  const auto slash = below.find('/');
  if (!below.starts_with('.') || slash == std::string::npos) return std::nullopt;
  const std::string program = joinedPath(home, below.substr(0, slash));
  std::string folder = parentPath(path);
  for (int level = 0; level < mostLevelsInside && isSameOrInside(folder, program);
       ++level, folder = parentPath(folder)) {
    if (pathExists(joinedPath(folder, ".git"))) return std::nullopt;
  }
  return below.substr(1, slash - 1);
}

/// Returns the hidden folders of the home folder that lie elsewhere, as where home folders are small.
std::vector<std::pair<std::string, std::string>> movedFolders(const std::string& home, const std::string& realHome) {
  std::vector<std::pair<std::string, std::string>> moved;
  const auto opened = openDirectory(home);
  if (!opened) return moved;
  DirectoryReader reader;
  reader.start(opened->get());
  std::size_t entriesLeft = 4096;
  for (DirectoryEntry entry; entriesLeft-- > 0 && reader.next(entry);) {
    if (entry.type != EntryType::symbolicLink || !entry.name.starts_with('.')) continue;
    const std::string link = joinedPath(home, entry.name);
    const auto real = realPath(link);
    if (real && openDirectory(*real) && !isSameOrInside(realHome, *real)) moved.emplace_back(*real, link);
  }
  return moved;
}

}  // namespace

std::optional<std::string> InstalledPrograms::ownerByPlace(std::string_view path) {
  const auto components = splitNonEmpty(path, '/');
  for (const ProgramPlace& row : programPlaces) {
    const auto end = findRow(components, row.place);
    if (!end) continue;
    return std::string(row.program.empty() ? components[*end] : row.program);
  }
  return std::nullopt;
}

InstalledPrograms::InstalledPrograms(const TidraPathResolver& resolver)
    : home_(resolver.home),
      realHome_(realPathOrSame(resolver.home)),
      moved_(movedFolders(home_, realHome_)),
      references_(resolver) {}

/// Entries lead into the home folder all the time; a project that is the home folder says nothing.
std::optional<std::string> InstalledPrograms::realProjectOf(const std::optional<std::string>& project) const {
  if (!project) return std::nullopt;
  std::string real = realPathOrSame(*project);
  return isSameOrInside(realHome_, real) ? std::nullopt : std::optional(std::move(real));
}

std::optional<std::string> InstalledPrograms::ownerByReference(const std::string& real,
                                                               const std::optional<std::string>& project) const {
  if (auto owner = references_.into(real)) return owner;
  const auto realProject = realProjectOf(project);
  return realProject ? references_.linkedInto(*realProject) : std::nullopt;
}

std::optional<std::string> InstalledPrograms::mentionedBy(const std::string& path,
                                                          const std::optional<std::string>& project) const {
  if (auto script = references_.scriptedInto(realPathOrSame(path))) return script;
  const auto realProject = realProjectOf(project);
  return realProject ? references_.namingFileOf(*realProject) : std::nullopt;
}

std::optional<std::string> InstalledPrograms::ownerOf(const std::string& path,
                                                      const std::optional<std::string>& project) const {
  const std::string real = realPathOrSame(path);
  auto owner = ownerByPlace(path);
  if (!owner && real != path) owner = ownerByPlace(real);
  if (!owner) owner = ownerByStructure(real, realHome_);
  if (!owner) owner = ownerByHome(path, home_);
  if (!owner) owner = ownerByHome(real, realHome_);
  for (const auto& [target, link] : moved_) {
    if (owner || real == target || !isSameOrInside(real, target)) continue;
    const std::string moved = joinedPath(link, pathBelow(real, target));
    owner = ownerByPlace(moved);
    if (!owner) owner = ownerByHome(moved, home_);
  }
  return owner ? owner : ownerByReference(real, project);
}

}  // namespace tidra
