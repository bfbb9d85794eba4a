#include "core/rules/added_rules.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/platform/trusted_file.h"
#include "core/rules/catalog_files.h"

namespace tidra {
namespace {

constexpr std::string_view rulesSuffix = ".json";

/// Returns the paths of the files in byte order. Throws std::system_error for a folder that is there and unreadable.
std::vector<std::string> rulesFilesIn(const std::string& folder) {
  std::vector<std::string> paths;
  const auto opened = openDirectory(folder);
  if (!opened && opened.failure() == std::errc::no_such_file_or_directory) return paths;
  if (!opened) throw std::system_error(opened.failure(), folder);
  DirectoryReader reader;
  reader.start(opened->get());
  for (DirectoryEntry entry; reader.next(entry);) {
    const bool isHidden = entry.name.starts_with('.');  // of editors and synchronisers
    if (!isHidden && entry.name.ends_with(rulesSuffix)) paths.push_back(joinedPath(folder, entry.name));
  }
  if (const auto failure = reader.failure()) throw std::system_error(failure, folder);
  std::sort(paths.begin(), paths.end());
  return paths;
}

AddedRules readAdded(const std::string& path) {
  try {
    const auto read = [](const std::string& file, std::size_t mostBytes) {
      return readTrustedFile("Rules file", file, mostBytes);
    };
    NotedCatalog loaded = loadCatalogFile(path, read);
    return {path, std::move(loaded.catalog), {}, std::move(loaded.notes)};
  } catch (const InputError& error) {
    return {path, std::nullopt, error.what(), {}};
  }
}

}  // namespace

std::vector<AddedRules> AddedRules::in(const std::string& folder) {
  std::vector<AddedRules> files;
  try {
    for (const std::string& path : rulesFilesIn(folder)) files.push_back(readAdded(path));
  } catch (const std::system_error& error) {
    files.push_back({folder,
                     std::nullopt,
                     fmt::format("The folder of rules files '{}' cannot be read: {}.", escapedForTerminal(folder),
                                 error.code().message()),
                     {}});
  }
  return files;
}

AddedRules AddedRules::add(const std::string& file, const std::string& folder, bool isDry) {
  std::string text;
  // Read once: what is validated, also against the built-in rules, is what is copied.
  ChosenCatalog chosen = makeCatalog({.files = {file}}, [&](const std::string& named, std::size_t mostBytes) {
    auto read = readRegularFile(named, mostBytes);
    if (read) text = *read;
    return read;
  });
  std::string name(lastPathComponent(file));
  if (!name.ends_with(rulesSuffix)) name += rulesSuffix;
  if (name.starts_with('.'))
    throw InputError(
        fmt::format("Rules files whose names begin with a dot are not read; rename '{}'.", escapedForTerminal(name)));
  std::string copy = joinedPath(folder, name);
  if (pathExists(copy)) {
    throw InputError(fmt::format("'{0}' was added before; rename the file, or run tidra rules remove {0} first.",
                                 escapedForTerminal(name)));
  }
  AddedRules added{copy, std::nullopt, {}, std::move(chosen.notes)};
  if (isDry) return added;
  makePrivateFolders(folder);
  constexpr unsigned ownersOnly = 0600;
  replaceFile(copy, text, ownersOnly, AtLink::replace);
  return added;
}

std::string AddedRules::find(const std::string& text, const std::string& folder) {
  const auto files = in(folder);
  for (const AddedRules& added : files) {
    const auto name = lastPathComponent(added.path);
    if (name == text || (name.ends_with(rulesSuffix) && name.substr(0, name.size() - rulesSuffix.size()) == text)) {
      return added.path;
    }
  }
  const auto holder = std::find_if(files.begin(), files.end(), [&](const AddedRules& added) {
    return added.catalog && added.catalog->hasRule(text);
  });
  if (holder == files.end()) {
    throw InputError(
        fmt::format("No added file has the name '{0}' or a rule with that id; --disable-rule switches "
                    "built-in rules off.",
                    escapedForTerminal(text)));
  }
  const auto rules = holder->catalog->projectRules.size() + holder->catalog->systemRules.size();
  if (rules == 1) return holder->path;
  throw InputError(
      fmt::format("The rule '{0}' is one of {1} in {2}; edit that file, or run tidra rules remove {3} "
                  "for all of them.",
                  escapedForTerminal(text), rules, escapedForTerminal(holder->path),
                  escapedForTerminal(lastPathComponent(holder->path))));
}

}  // namespace tidra
