#include "core/session/walk_notes.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "core/base/text.h"
#include "core/platform/files.h"

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

std::vector<std::string> notesOfIdleExclusions(ExclusionUse& use, const std::vector<std::string>& roots) {
  // A root that lies in what is excluded was not walked.
  for (const std::string& root : roots) {
    use.note(root);
    use.note(realPathOrSame(root));
  }
  std::vector<std::string> notes;
  for (const std::string& text : use.idle()) {
    notes.push_back(fmt::format("'{}' given with --exclude kept nothing out of this scan.", escapedForTerminal(text)));
  }
  return notes;
}

std::vector<std::string> notesOfWithheld(const std::map<std::string, KeptInside>& withheld,
                                         const TidraPathResolver& resolver) {
  std::vector<std::string> notes;
  notes.reserve(withheld.size());
  for (const auto& [path, kept] : withheld) {
    notes.push_back(fmt::format("{} {}, so it is left out.", escapedForTerminal(resolver.displayPath(path)),
                                kept.reason(resolver)));
  }
  return notes;
}

}  // namespace tidra
