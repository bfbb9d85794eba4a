#include "core/session/walk_notes.h"

#include <fmt/format.h>

namespace tidra {
namespace {

std::string numbered(std::uint64_t number, const char* what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

}  // namespace

std::vector<std::string> notesOfUnread(const FilesystemArtifactScanner::Result& result, const std::string& root) {
  std::vector<std::string> notes;
  constexpr const char* unread = "{} below {} could not be read: {}.";
  if (const auto folders = result.unreadableFolders; folders > 0) {
    notes.push_back(fmt::format(unread, numbered(folders, "folder"), root, "Permission denied"));
  }
  if (const auto folders = result.starvedFolders; folders > 0) {
    notes.push_back(fmt::format(unread, numbered(folders, "folder"), root, "Too many open files"));
  }
  if (const auto folders = result.brokenFolders; folders > 0) {
    notes.push_back(fmt::format("{} below {} could not be read to the end: {}. What lies there is left out.",
                                numbered(folders, "folder"), root, result.brokenReason.message()));
  }
  if (const auto artifacts = result.unmeasuredArtifacts; artifacts > 0) {
    notes.push_back(fmt::format("{} below {} left out, because the sizes of files could not be determined.",
                                numbered(artifacts, "artefact") + (artifacts == 1 ? " is" : " are"), root));
  }
  return notes;
}

}  // namespace tidra
