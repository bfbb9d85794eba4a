#include "fleet/hub/hub_policies.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/byte_units.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "fleet/hub/folder_listing.h"
#include "fleet/hub/hub_store_error.h"

namespace tidra {
namespace {

void requireName(const std::string& name) {
  if (!HubPolicies::isName(name)) throw HubStoreError::badName(name);
}

}  // namespace

HubPolicies::HubPolicies(std::string folder) : folder_(std::move(folder)) {}

bool HubPolicies::isName(std::string_view name) {
  constexpr std::size_t longest = 200;
  constexpr std::string_view allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
  return !name.empty() && name.size() <= longest && name.find_first_not_of(allowed) == std::string_view::npos;
}

std::string HubPolicies::pathOf(const std::string& name) const {
  return joinedPath(folder_, name + std::string(jsonExtension));
}

std::vector<std::string> HubPolicies::names() const {
  std::vector<std::string> names;
  for (const std::string& file : jsonFilesIn(folder_)) {
    std::string name = file.substr(0, file.size() - jsonExtension.size());
    if (isName(name)) names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::string> HubPolicies::read(const std::string& name) const {
  constexpr std::size_t mostBytes = 8_MiB;
  if (!isName(name)) return std::nullopt;
  auto document = readRegularFile(pathOf(name), mostBytes);
  if (!document && document.failure() == std::errc::no_such_file_or_directory) return std::nullopt;
  if (!document) throw std::system_error(document.failure(), fmt::format("{} cannot be read", pathOf(name)));
  return std::move(*document);
}

void HubPolicies::put(const std::string& name, std::string_view document) const {
  requireName(name);
  constexpr unsigned ownerOnly = 0600;
  replaceFile(pathOf(name), document, ownerOnly);
}

bool HubPolicies::remove(const std::string& name) const {
  requireName(name);
  if (!pathFacts(pathOf(name))) return false;
  removeFile(pathOf(name));
  flushFolder(folder_);
  return true;
}

}  // namespace tidra
