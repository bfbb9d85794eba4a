// Names of folders being deleted. Deletion first renames the folder, so that it disappears atomically for everyone
// else. The name alone proves nothing: RemovalNote decides whether such a folder is an interrupted deletion.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/model/scan_artifact_finding.h"

namespace tidra {

struct RemovalLeftover {
  static constexpr std::string_view prefix = ".tidra-removing-";
  static constexpr std::size_t digits = 16;
  static constexpr std::string_view noteSuffix = ".note";
  static constexpr const char* ecosystem = "general";

  /// Returns the name with this number.
  static std::string name(std::uint64_t number) { return fmt::format("{}{:016x}", prefix, number); }

  /// Whether name() could have returned this name.
  static bool is(std::string_view entryName) {
    if (!entryName.starts_with(prefix) || entryName.size() != prefix.size() + digits) return false;
    entryName.remove_prefix(prefix.size());
    return std::all_of(entryName.begin(), entryName.end(),
                       [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
  }

  static std::string noteName(std::string_view leftover) { return std::string(leftover) + std::string(noteSuffix); }

  /// Whether this is the name of a note.
  static bool isNote(std::string_view entryName) { return !ofNote(entryName).empty(); }

  /// Returns the name of the folder that this note is about; empty unless isNote().
  static std::string_view ofNote(std::string_view entryName) {
    if (!entryName.ends_with(noteSuffix)) return {};
    entryName.remove_suffix(noteSuffix.size());
    return is(entryName) ? entryName : std::string_view();
  }

  static bool isEither(std::string_view entryName) { return is(entryName) || isNote(entryName); }

  /// Returns a sentence about folders with such names but without a note. `places` are display paths, not empty.
  static std::string unclaimedText(const std::vector<std::string>& places);

  /// Whether a scan of these ecosystems reports leftovers; absent: all.
  static bool isWanted(const std::optional<std::set<std::string>>& ecosystems) {
    return !ecosystems || ecosystems->contains(ecosystem);
  }

  /// Returns the finding of a scan, without a group root.
  static ScanArtifactFinding finding(std::string path, std::uint64_t sizeBytes) {
    return {.path = std::move(path),
            .label = "Interrupted removal",
            .sizeBytes = sizeBytes,
            .ecosystemTag = ecosystem,
            .groupRoot = std::nullopt,
            .source = ArtifactSource::projectWalk,
            .safetyTier = ArtifactSafetyTier::safe,
            .restoreHint = "Was being deleted; removing it finishes that",
            .lastActivityDate = std::nullopt,
            .ruleID = std::nullopt,
            .evidence = "a removal began"};
  }
};

}  // namespace tidra
