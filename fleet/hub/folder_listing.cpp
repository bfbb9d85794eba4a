#include "fleet/hub/folder_listing.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>

#include "core/platform/directory_reader.h"
#include "core/platform/folder_entries.h"

namespace tidra {
namespace {

struct Listing {
  FileDescriptor folder;
  std::vector<std::string> names;
};

Listing list(const std::string& path) {
  auto folder = openDirectory(path);
  if (!folder) throw std::system_error(folder.failure(), fmt::format("{} cannot be read", path));
  Listing listing{std::move(*folder), {}};
  DirectoryReader reader;
  reader.start(listing.folder.get());
  for (DirectoryEntry entry; reader.next(entry);) listing.names.emplace_back(entry.name);
  if (reader.failure()) throw std::system_error(reader.failure(), fmt::format("{} cannot be read", path));
  std::sort(listing.names.begin(), listing.names.end());
  return listing;
}

bool isLeftTemporary(std::string_view name) {
  constexpr std::size_t digits = 8;
  if (!name.starts_with('.') || name.size() < digits + 1) return false;
  const std::string_view number = name.substr(name.size() - digits);
  const std::string_view before = name.substr(0, name.size() - digits);
  return number.find_first_not_of("0123456789abcdef") == std::string_view::npos && before.ends_with(".json.");
}

}  // namespace

std::vector<std::string> namesIn(const std::string& folder) { return list(folder).names; }

std::vector<std::string> jsonFilesIn(const std::string& folder) {
  auto names = namesIn(folder);
  std::erase_if(names, [](const std::string& name) { return !name.ends_with(jsonExtension); });
  return names;
}

void removeLeftTemporaries(const std::string& folder) {
  const Listing listing = list(folder);
  for (const std::string& name : listing.names) {
    // Best effort: the next start tries again.
    if (isLeftTemporary(name)) static_cast<void>(removeFileEntry(listing.folder.get(), name.c_str()));
  }
}

}  // namespace tidra
