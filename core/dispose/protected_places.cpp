#include "core/dispose/protected_places.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Resolves symbolic links in the longest existing prefix; the rest stays as written.
std::string realAsFarAsItExists(const std::string& path) {
  for (std::size_t end = path.size(); end > 0; end = path.rfind('/', end - 1)) {
    const auto real = realPath(path.substr(0, end));
    if (real) return end == path.size() ? *real : joinedPath(*real, std::string_view(path).substr(end + 1));
  }
  return path;
}

constexpr const char* isMounted = "is a mounted file system, which Tidra never removes; unmount it first";

}  // namespace

ProtectedPlaces::ProtectedPlaces(const TidraPathResolver& resolver, std::vector<MountPoint> mounts,
                                 const std::vector<std::string>& ownFolders)
    : mounts_(std::move(mounts)) {
  add(resolver.home, "the home folder");
  for (const std::string& folder : ownFolders) add(folder, "a folder that Tidra keeps things in");
  for (std::string place = places_.front().path;; place = parentPath(place)) {
    if (const auto facts = pathFacts(place)) identities_.push_back(facts->identity);
    if (place == "/") break;
  }
}

void ProtectedPlaces::add(const std::string& path, const std::string& what) {
  if (path.starts_with('/')) places_.push_back({realAsFarAsItExists(standardizedPath(path)), what});
}

void ProtectedPlaces::check(const HeldEntry& entry) const {
  const std::string path = entry.path();
  if (entry.folder.path == "/") {
    throw DisposalError("is protected: a folder directly in / belongs to the system, and Tidra never removes it");
  }
  for (const Place& place : places_) {
    if (!isSameOrInside(place.path, path)) continue;
    throw DisposalError(fmt::format("is protected: it {} {}, and Tidra never removes that",
                                    place.path == path ? "is" : "holds", place.what));
  }
  const MountPoint* volume = mountHolding(mounts_, path);
  if (volume != nullptr && isPseudoFileSystem(volume->fileSystem)) {
    throw DisposalError("is protected: it belongs to the kernel, and Tidra never removes that");
  }
  if (std::find(identities_.begin(), identities_.end(), entry.facts.identity) != identities_.end()) {
    throw DisposalError("is protected: it is or holds the home folder, and Tidra never removes that");
  }
  if (entry.facts.type != EntryType::directory) return;
  const auto folder = descriptorFacts(entry.folder.descriptor.get());
  if (!folder || !folder->sharesVolumeWith(entry.facts)) {
    throw DisposalError(isMounted);
  }
  if (const auto reason = reasonOfMount(path, mounts_)) throw DisposalError(*reason);
}

std::optional<std::string> ProtectedPlaces::reasonOfMount(const std::string& realPath,
                                                          const std::vector<MountPoint>& mounts) {
  for (const MountPoint& mount : mounts) {
    if (!isSameOrInside(mount.path, realPath)) continue;
    if (mount.path == realPath) return isMounted;
    return fmt::format("holds a mounted file system at {}; unmount it first", escapedForTerminal(mount.path));
  }
  return std::nullopt;
}

}  // namespace tidra
