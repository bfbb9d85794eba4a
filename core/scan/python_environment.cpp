#include "core/scan/python_environment.h"

#include <algorithm>
#include <array>
#include <functional>
#include <nlohmann/json.hpp>
#include <unordered_set>
#include <vector>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/folder_contents.h"

namespace tidra {
namespace {

/// Whether the name of every entry matches one of the patterns.
bool matchesOnly(const std::vector<FolderEntry>& entries, std::string_view patterns) {
  const auto known = splitNonEmpty(patterns, ' ');
  return std::all_of(entries.begin(), entries.end(), [&](const FolderEntry& entry) {
    return std::any_of(known.begin(), known.end(),
                       [&](std::string_view pattern) { return globMatches(std::string(pattern), entry.name.c_str()); });
  });
}

/// Whether a name is one of these (separated by blanks), maybe with a version behind it: "python3.13t", "pip-3.11".
bool isVersionOf(const std::string& name, std::string_view programs) {
  const auto known = splitNonEmpty(programs, ' ');
  return std::any_of(known.begin(), known.end(), [&](std::string_view program) {
    return name.starts_with(program) && name.find_first_not_of("0123456789.-t", program.size()) == std::string::npos;
  });
}

bool areVersionsOf(const std::vector<FolderEntry>& entries, std::string_view programs) {
  return std::all_of(entries.begin(), entries.end(),
                     [&](const FolderEntry& entry) { return isVersionOf(entry.name, programs); });
}

constexpr std::string_view interpreters = "python pypy";

/// Interpreters, installers and what activates the environment.
constexpr std::string_view launchers =
    "python pypy pip wheel easy_install activate activate.csh activate.fish activate.nu "
    "activate.bat "
    "activate.xsh activate.ps1 Activate.ps1 activate_this.py deactivate deactivate.bat deactivate.nu pydoc.bat";

/// Whether a folder "bin" holds only those, and links to an interpreter, however they are called.
bool holdsOnlyLaunchers(const std::string& folder) {
  const auto entries = listing(folder);
  return std::all_of(entries.begin(), entries.end(), [&](const FolderEntry& entry) {
    if (isVersionOf(entry.name, launchers)) return true;
    const auto target = linkTarget(joinedPath(folder, entry.name));
    return target && isVersionOf(std::string(lastPathComponent(*target)), interpreters);
  });
}

/// Whether all files in the packages of a "site-packages" folder are those that its installer recorded.
bool holdsOnlyRecorded(const std::string& packages, const std::vector<FolderEntry>& entries) {
  constexpr std::size_t largest = 1_MiB;
  constexpr std::size_t mostFolders = 2000;
  std::string recorded;  // lines "path,hash,size"
  std::vector<std::string> waiting;
  for (const FolderEntry& entry : entries) {
    if (entry.type != EntryType::directory) continue;
    const auto record = readRegularFile(joinedPath(packages, joinedPath(entry.name, "RECORD")), largest);
    if (record) recorded += '\n' + *record;
    if (!globMatches("*-info", entry.name.c_str())) waiting.push_back(entry.name);
  }
  std::unordered_set<std::string_view> files;
  for (const std::string_view line : splitNonEmpty(recorded, '\n')) files.insert(line.substr(0, line.find(',')));
  for (std::size_t folders = 0; !waiting.empty(); ++folders) {
    if (folders == mostFolders) return false;
    const std::string folder = std::move(waiting.back());
    waiting.pop_back();
    for (const FolderEntry& entry : listing(joinedPath(packages, folder))) {
      std::string path = joinedPath(folder, entry.name);
      if (entry.type == EntryType::directory) {
        waiting.push_back(std::move(path));
      } else if (!path.ends_with(".pyc") && !files.contains(path)) {
        return false;
      }
    }
  }
  return true;
}

/// Whether a "lib" folder holds "python3.11/site-packages" or the like with the installer's packages, and nothing else.
bool holdsOnlyInstaller(const std::string& library) {
  const auto versions = listing(library);
  if (versions.empty() || !areVersionsOf(versions, interpreters)) return false;
  return std::all_of(versions.begin(), versions.end(), [&](const FolderEntry& version) {
    const std::string folder = joinedPath(library, version.name);
    // Empty without pip; an unreadable folder is not.
    if (!openDirectory(joinedPath(folder, "site-packages"))) return false;
    const auto packages = listing(joinedPath(folder, "site-packages"));
    return matchesOnly(listing(folder), "site-packages") &&
           matchesOnly(packages,
                       "pip pip-*.dist-info pip-*.egg-info setuptools setuptools-*.dist-info setuptools-*.egg-info "
                       "wheel wheel-*.dist-info pkg_resources pkg_resources-*.dist-info _distutils_hack "
                       "distutils-precedence.pth easy_install.py __pycache__ *.virtualenv _virtualenv.py "
                       "_virtualenv.pth") &&
           holdsOnlyRecorded(joinedPath(folder, "site-packages"), packages);
  });
}

/// The lines of a file in TOML or INI syntax: calls `use` with the section, the key and the text after its "=", up to
/// the end of the file, until it returns true; returns whether it did. A key is empty for the section's own line.
bool anySetting(
    std::string_view text,
    const std::function<bool(std::string_view section, std::string_view key, std::string_view value)>& use) {
  std::string_view section;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    const auto line = trimmed(text.substr(0, end));
    if (line.starts_with('[') && line.find(']') != std::string_view::npos) {
      section = line.substr(0, line.find(']'));
      section.remove_prefix(std::min(section.find_first_not_of('['), section.size()));
      section = trimmed(section);
      if (use(section, {}, {})) return true;
    } else if (const auto equals = text.find('='); equals < end && !line.starts_with('#') && !line.starts_with(';')) {
      if (use(section, trimmed(text.substr(0, equals)), text.substr(equals + 1))) return true;
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return false;
}

/// Skips white space, line breaks and comments.
std::string_view skippingComments(std::string_view text) {
  for (text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size())); text.starts_with('#');) {
    text.remove_prefix(std::min(text.find('\n'), text.size()));
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  }
  return text;
}

/// Whether the value at the start of `text` (TOML, INI or Python) is not empty. A value of INI may begin on the next
/// line, which then is indented.
bool hasValue(std::string_view text) {
  const auto line = trimmed(text.substr(0, text.find('\n')));
  if (line.empty()) {
    const auto rest = text.substr(std::min(text.find('\n'), text.size()));
    const auto value = skippingComments(rest);
    if (value.empty()) return false;
    const char before = rest[rest.size() - value.size() - 1];
    return before == ' ' || before == '\t';
  }
  if (line.starts_with("\"\"") || line.starts_with("''") || line.starts_with('#') || line.starts_with("None")) {
    return false;
  }
  if (line.front() != '[' && line.front() != '{' && line.front() != '(') return true;
  const auto first = skippingComments(text.substr(text.find(line.front()) + 1));
  return !first.empty() && first.front() != ']' && first.front() != '}' && first.front() != ')';
}

/// Whether an inline table has a list of texts: "{dev = ['x']}".
bool hasListInTable(std::string_view text) {
  text = text.substr(0, text.find('}'));
  for (auto at = text.find('['); at != std::string_view::npos; at = text.find('[', at + 1)) {
    const auto first = skippingComments(text.substr(at + 1));
    if (first.starts_with('"') || first.starts_with('\'')) return true;
  }
  return false;
}

bool listsInPyproject(std::string_view text) {
  return anySetting(text, [](std::string_view section, std::string_view key, std::string_view value) {
    // Other tools have dependencies of other environments: "tool.hatch.envs.docs".
    const bool isInstaller = section.starts_with("tool.poetry.") || section.starts_with("tool.pdm.") ||
                             section.starts_with("tool.uv") || section.starts_with("tool.rye") ||
                             section == "tool.setuptools.dynamic" || section == "tool.flit.metadata";
    // A table of its own for one package.
    if (key.empty()) return isInstaller && section.find("dependencies.") != std::string_view::npos;
    if (key == "python" || !hasValue(value)) return false;
    if (section == "project" && key == "optional-dependencies") return hasListInTable(value);
    if (section == "project") return key == "dependencies" || key.starts_with("optional-dependencies.");
    return section == "project.optional-dependencies" || section == "dependency-groups" ||
           (isInstaller && (section.ends_with("dependencies") || key == "dependencies" || key == "dev-dependencies" ||
                            key == "requires"));
  });
}

bool listsInSetupCfg(std::string_view text) {
  return anySetting(text, [](std::string_view section, std::string_view key, std::string_view value) {
    const bool isNamed =
        (section == "options" && key == "install_requires") || (section == "options.extras_require" && !key.empty());
    return isNamed && hasValue(value);
  });
}

bool listsInPipfile(std::string_view text) {
  return anySetting(text, [](std::string_view section, std::string_view key, std::string_view value) {
    const bool isOther =
        section.empty() || section == "source" || section == "requires" || section == "scripts" || section == "pipenv";
    return !isOther && !key.empty() && hasValue(value);
  });
}

bool listsInSetupPy(std::string_view text) {
  constexpr std::array<std::string_view, 2> arguments{"install_requires", "extras_require"};
  return std::any_of(arguments.begin(), arguments.end(), [&](std::string_view argument) {
    for (auto at = text.find(argument); at != std::string_view::npos; at = text.find(argument, at + 1)) {
      const auto before = text.substr(0, at);
      const bool isComment = before.substr(before.rfind('\n') + 1).find('#') != std::string_view::npos;
      const auto after = skippingComments(text.substr(at + argument.size()));
      if (!isComment && after.starts_with('=') && hasValue(after.substr(1))) return true;
    }
    return false;
  });
}

bool listsInPipfileLock(std::string_view text) {
  const auto json = nlohmann::json::parse(text, nullptr, false);
  if (!json.is_object()) return false;
  for (const auto& [group, packages] : json.items()) {
    if (group != "_meta" && packages.is_object() && !packages.empty()) return true;
  }
  return false;
}

/// Locks of Poetry, uv and PDM, and "pylock.toml": tables of packages, of which one may be the project itself.
bool listsInLock(std::string_view text) {
  std::size_t packages = 0;
  std::size_t own = 0;
  anySetting(text, [&](std::string_view section, std::string_view key, std::string_view value) {
    if (key.empty() && (section == "package" || section == "packages")) ++packages;
    const bool isFolder = key.empty() ? section == "packages.directory" : section == "packages" && key == "directory";
    if (isFolder) ++own;
    const auto line = value.substr(0, value.find('\n'));
    if (key == "source" &&
        (line.find("virtual") != std::string_view::npos || line.find("editable") != std::string_view::npos)) {
      ++own;
    }
    return false;
  });
  return packages > own;
}

bool anyLine(std::string_view text, const std::function<bool(std::string_view)>& isMeant) {
  const auto lines = splitNonEmpty(text, '\n');
  return std::any_of(lines.begin(), lines.end(), [&](std::string_view line) {
    const auto said = trimmed(line);
    return !said.empty() && !said.starts_with('#') && isMeant(said);
  });
}

bool isEnvironment(const std::string& folder) { return pathExists(joinedPath(folder, "pyvenv.cfg")); }

/// Other files and folders of this machine count while they exist: "-r base.txt", "--editable=../lib[extra]".
bool listsInRequirements(std::string_view text, const std::string& project) {
  return anyLine(text, [&](std::string_view line) {
    if (!line.starts_with('-')) return true;
    const bool isMeant = line.starts_with("-r") || line.starts_with("-e") || line.starts_with("--requirement") ||
                         line.starts_with("--editable");
    if (!isMeant) return false;
    const auto name = line.starts_with("--") ? line.find_first_of(" =") : 1;
    const auto begin = line.find_first_not_of(" =\t", name + 1);
    if (begin == std::string_view::npos) return false;
    const auto place = line.substr(begin, line.find_first_of(" \t[#;", begin) - begin);
    if (place.find("://") != std::string_view::npos || place.starts_with("git+")) return true;
    return isInstallable(project, std::string(place), &isEnvironment);
  });
}

/// An environment of conda: items of the list "dependencies", also of pip's list inside.
bool listsInCondaFile(std::string_view text) {
  bool isList = false;
  return anyLine(text, [&](std::string_view line) {
    if (!line.starts_with('-')) isList = line.starts_with("dependencies:") || (isList && !line.ends_with(':'));
    const auto item = trimmed(line.substr(1));
    const auto name = item.substr(0, item.find_first_of("=<> :"));
    return isList && line.starts_with('-') && !name.empty() && name != "python" && name != "pip";
  });
}

}  // namespace

bool holdsNothingButItsInstaller(const std::string& environment) {
  const auto entries = listing(environment);
  if (!matchesOnly(entries, "bin lib lib64 include pyvenv.cfg .gitignore .lock CACHEDIR.TAG")) return false;
  const auto isAsCreated = [&](const FolderEntry& entry) {
    const std::string path = joinedPath(environment, entry.name);
    if (entry.type != EntryType::directory) return true;
    if (entry.name == "bin") return holdsOnlyLaunchers(path);
    if (entry.name != "include") return holdsOnlyInstaller(path);
    const auto headers = listing(path);
    return areVersionsOf(headers, "python") && std::all_of(headers.begin(), headers.end(), [&](const FolderEntry& it) {
             return it.type == EntryType::symbolicLink || listing(joinedPath(path, it.name)).empty();
           });
  };
  const bool hasLibrary = std::any_of(entries.begin(), entries.end(), [](const auto& it) { return it.name == "lib"; });
  return hasLibrary && std::all_of(entries.begin(), entries.end(), isAsCreated);
}

bool listsPackages(const std::string& project, const std::string& name) {
  constexpr std::size_t largest = 1_MiB;
  const auto text = readRegularFile(joinedPath(project, name), largest);
  if (!text) return text.failure() == std::errc::file_too_large;
  if (name == "pyproject.toml") return listsInPyproject(*text);
  if (name == "setup.cfg") return listsInSetupCfg(*text);
  if (name == "setup.py") return listsInSetupPy(*text);
  if (name == "Pipfile") return listsInPipfile(*text);
  if (name == "Pipfile.lock") return listsInPipfileLock(*text);
  if (name.ends_with(".lock") || name.starts_with("pylock.")) return listsInLock(*text);
  if (name.ends_with(".yml") || name.ends_with(".yaml")) return listsInCondaFile(*text);
  return listsInRequirements(*text, project);
}

}  // namespace tidra
