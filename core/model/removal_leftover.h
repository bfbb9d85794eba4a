// The name under which a folder waits while it is being deleted. Deleting begins with giving the folder such a name, so
// that it is gone at once for everyone else. The name alone proves nothing: RemovalNote decides whether a folder of
// that name is a deletion that was cut short.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/model/scan_artifact_finding.h"

namespace tidra {

struct RemovalLeftover {
  static constexpr std::string_view prefix = ".tidra-removing-";
  static constexpr std::size_t digits = 16;
  static constexpr std::string_view noteSuffix = ".note";

  /// The name with this number in it.
  static std::string name(std::uint64_t number) { return fmt::format("{}{:016x}", prefix, number); }

  /// True for names that name() makes, and no others.
  static bool is(std::string_view entryName) {
    if (!entryName.starts_with(prefix) || entryName.size() != prefix.size() + digits) return false;
    entryName.remove_prefix(prefix.size());
    return std::all_of(entryName.begin(), entryName.end(),
                       [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
  }

  static std::string noteName(std::string_view leftover) { return std::string(leftover) + std::string(noteSuffix); }

  /// True for the names of notes.
  static bool isNote(std::string_view entryName) {
    return entryName.ends_with(noteSuffix) && is(entryName.substr(0, entryName.size() - noteSuffix.size()));
  }

  static bool isEither(std::string_view entryName) { return is(entryName) || isNote(entryName); }

  /// A sentence about folders that are named like leftovers without being one; `places` as people read them, not empty.
  static std::string unclaimedText(const std::vector<std::string>& places);

  /// What a scan tells of one, without the group that it is listed under.
  static ScanArtifactFinding finding(std::string path, std::uint64_t sizeBytes) {
    return {.path = std::move(path),
            .label = "Interrupted removal",
            .sizeBytes = sizeBytes,
            .ecosystemTag = "general",
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
