#include "core/scan/removal_note.h"

#include <fmt/format.h>

#include "core/model/removal_leftover.h"
#include "core/platform/folder_entries.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Returns the beginning of a note's target. The birth time distinguishes a folder from a later one with a reused
/// inode.
std::string identityText(const EntryFacts& facts) {
  const auto& bornNanos = facts.identity.bornNanos;
  const auto born = bornNanos ? fmt::format("{:x}", *bornNanos) : std::string("-");
  return fmt::format("tidra:{:x}:{:x}:{}:", facts.identity.device, facts.identity.inode, born);
}

/// Returns the target of a note owned by the running user; nullopt without one.
std::optional<std::string> ownNote(int folder, const std::string& leftover) {
  auto entry = openPathComponent(folder, RemovalLeftover::noteName(leftover));
  if (!entry || entry->folder || entry->linkOwner != runningUser()) return std::nullopt;
  return std::move(entry->linkTarget);
}

}  // namespace

std::error_code RemovalNote::make(int folder, const std::string& leftover, const EntryFacts& facts,
                                  const std::string& formerName) {
  return makeLinkEntry(folder, RemovalLeftover::noteName(leftover).c_str(), identityText(facts) + formerName);
}

std::error_code RemovalNote::remove(int folder, const std::string& leftover) {
  return removeFileEntry(folder, RemovalLeftover::noteName(leftover).c_str());
}

bool RemovalNote::covers(int folder, const std::string& leftover, const EntryFacts& facts) {
  if (!RemovalLeftover::is(leftover)) return false;
  const auto note = ownNote(folder, leftover);
  return note && note->starts_with(identityText(facts));
}

bool RemovalNote::claims(int folder, const std::string& name) {
  if (const std::string leftover(RemovalLeftover::ofNote(name)); !leftover.empty()) {
    const auto there = entryFacts(folder, leftover.c_str());
    return there.failure() == std::errc::no_such_file_or_directory && ownNote(folder, leftover);
  }
  const auto facts = entryFacts(folder, name.c_str());
  return facts && covers(folder, name, *facts);
}

bool RemovalNote::claims(const std::string& path) {
  try {
    return claims(holdFolder(parentPath(path)).descriptor.get(), std::string(lastPathComponent(path)));
  } catch (const std::runtime_error&) {
    return false;
  }
}

}  // namespace tidra
