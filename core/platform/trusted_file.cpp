#include "core/platform/trusted_file.h"

#include <fmt/format.h>

#include <vector>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/folder_entries.h"
#include "core/platform/held_folder.h"
#include "core/platform/open_file.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

bool isOurs(const EntryFacts& entry) { return entry.owner == 0 || entry.owner == runningUser(); }

/// Follows a path to its file.
class TrustedPath {
 public:
  TrustedPath(std::string_view kind, const std::string& path)
      : subject_(fmt::format("{} '{}'", kind, escapedForTerminal(path))) {
    push(path.starts_with('/') ? path : joinedPath(realPathOrSame("."), path));
  }

  /// Returns the path without links. Throws InputError.
  Outcome<std::string> follow() {
    requireOwnFolder("/", pathFacts("/"));
    int links = 0;
    while (!ahead_.empty()) {
      const std::string name = std::move(ahead_.back());
      ahead_.pop_back();
      if (name == ".") continue;
      const std::string next = name == ".." ? parentPath(at_) : joinedPath(at_, name);
      const auto facts = pathFacts(next);
      if (!facts) return facts.failure();
      if (facts->type == EntryType::symbolicLink) {
        constexpr int mostLinks = 40;  // the limit of the Linux kernel
        if (++links > mostLinks) return std::make_error_code(std::errc::too_many_symbolic_link_levels);
        followLink(next, *facts);
        continue;
      }
      if (facts->type == EntryType::directory) requireOwnFolder(next, facts);
      at_ = next;
    }
    return at_;
  }

  /// Throws InputError unless only the running user and root can change the file.
  void requireOwnFile(const std::string& path, const EntryFacts& facts) const {
    if (isOurs(facts) && !isWritableByOthers(path, facts)) return;
    throw InputError(fmt::format(
        "{0} can be changed by other users, who would decide what is removed; it must belong to you or root, and "
        "'chmod go-w {1}' keeps others from writing.",
        subject_, escapedForTerminal(path)));
  }

 private:
  void push(std::string_view path) {
    const auto pieces = splitNonEmpty(path, '/');
    ahead_.insert(ahead_.end(), pieces.rbegin(), pieces.rend());
  }

  void followLink(const std::string& link, const EntryFacts& facts) {
    const auto target = linkTarget(link);
    if (!isOurs(facts) || !target) refuse(link, "is a link that does not belong to you or root");
    push(*target);
    if (target->starts_with('/')) at_ = "/";
  }

  void requireOwnFolder(const std::string& folder, const Outcome<EntryFacts>& facts) const {
    constexpr std::uint32_t onlyOwnEntries = 01000;
    if (!facts || !isOurs(*facts)) refuse(folder, "does not belong to you or root");
    if ((facts->permissions & onlyOwnEntries) != 0 || !isWritableByOthers(folder, *facts)) return;
    refuse(folder, fmt::format("can be written to by others, which 'chmod go-w {}' ends", escapedForTerminal(folder)));
  }

  [[noreturn]] void refuse(const std::string& place, std::string_view why) const {
    throw InputError(fmt::format("{} can be replaced by other users, who would decide what is removed: {} {}.",
                                 subject_, escapedForTerminal(place), why));
  }

  std::string subject_;
  std::string at_ = "/";
  std::vector<std::string> ahead_;  // the components to come, in reverse
};

}  // namespace

Outcome<std::string> readTrustedFile(std::string_view kind, const std::string& path, std::size_t mostBytes) {
  // Names of pipes in /proc lead nowhere that could be followed.
  const auto named = followedFacts(path);
  if (named && named->type != EntryType::regularFile) return std::make_error_code(std::errc::invalid_argument);
  TrustedPath trusted(kind, path);
  const auto real = trusted.follow();
  if (!real) return real.failure();
  const auto file = openFile(*real, FileAccess::read);
  if (!file) return file.failure();
  trusted.requireOwnFile(*real, file->facts);
  auto bytes = readToEnd(file->descriptor, mostBytes);
  if (bytes && bytes->size() > mostBytes) return std::make_error_code(std::errc::file_too_large);
  return bytes;
}

}  // namespace tidra
