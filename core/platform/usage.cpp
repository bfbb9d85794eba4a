#include "core/platform/usage.h"

#include "core/platform/path_text.h"

namespace tidra {

void UsageSnapshot::add(PlaceUse use) {
  users_.at(static_cast<std::size_t>(use.kind)).try_emplace(std::move(use.path), use.process, std::move(use.program));
}

std::optional<PlaceUse> UsageSnapshot::find(UseKind kind, const std::string& folder) const {
  const Users& users = users_.at(static_cast<std::size_t>(kind));
  auto user = users.find(folder);
  // In byte order siblings such as "folder-2" sort between "folder" and "folder/".
  if (user == users.end()) user = users.lower_bound(joinedPath(folder, ""));
  if (user == users.end() || !isSameOrInside(user->first, folder)) return std::nullopt;
  return PlaceUse{kind, user->second.first, user->second.second, user->first};
}

std::optional<PlaceUse> UsageSnapshot::userOf(const std::string& folder) const {
  for (std::size_t kind = 0; kind < kinds; ++kind) {
    if (auto use = find(static_cast<UseKind>(kind), folder)) return use;
  }
  return std::nullopt;
}

std::optional<PlaceUse> UsageSnapshot::workerIn(const std::string& folder) const {
  for (const UseKind kind : {UseKind::workingFolder, UseKind::program, UseKind::argument}) {
    if (auto use = find(kind, folder)) return use;
  }
  return std::nullopt;
}

std::optional<PlaceUse> UsageSnapshot::workerAt(const std::string& folder) const {
  auto use = find(UseKind::workingFolder, folder);
  return use && use->path == folder ? use : std::nullopt;
}

}  // namespace tidra
