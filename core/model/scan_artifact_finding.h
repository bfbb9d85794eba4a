// One removable item.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/model/scan_vocabulary.h"
#include "core/model/storage_use.h"

namespace tidra {

struct ScanArtifactFinding {
  std::string path;   // absolute, or a tool-backed target: "docker:…", "conda:…", "pip:…"
  std::string label;  // display name, normally the rule's
  std::uint64_t sizeBytes = 0;
  std::string ecosystemTag;              // lower case, such as "npm"; "general" for none in particular
  std::optional<std::string> groupRoot;  // the project folder, or a system group root
  ArtifactSource source = ArtifactSource::projectWalk;
  ArtifactSafetyTier safetyTier = ArtifactSafetyTier::safe;
  std::optional<std::string> restoreHint;     // how to restore it
  std::optional<TimePoint> lastActivityDate;  // of the project or the item; absent when unknown
  std::optional<std::string> ruleID;          // absent when no catalog rule produced it
  /// Why a project's artefact is known to be generated, for display: "holds .package-lock.json". Absent without such
  /// evidence, and for findings outside projects.
  std::optional<std::string> evidence = {};
  /// Why a project's artefact lacks evidence, for display: "holds documents or keys: a.pem". Absent with evidence, and
  /// where the restore hint says it.
  std::optional<std::string> noEvidence = {};
  /// Figures of the disk, saturating, as in StorageUse; absent for what only a tool can measure.
  std::optional<std::uint64_t> diskBytes = {};
  std::optional<std::uint64_t> freeableBytes = {};
  std::optional<SizeDifference> difference = {};

  /// Returns what removing it alone frees, as far as known: the size where the disk was not asked.
  std::uint64_t freeable() const { return freeableBytes.value_or(sizeBytes); }

  bool operator==(const ScanArtifactFinding&) const = default;
};

/// Whether only a tool can remove it: the path begins with "docker:", "conda:" or "pip:".
bool isToolBackedTarget(std::string_view path);

/// Precedes the folder of the environment whose unused packages a target stands for.
inline constexpr std::string_view pipTargetPrefix = "pip:orphan:";

/// Whether a finding of the walk lacks evidence of being generated. `Item` is a finding or a report item.
template <class Item>
bool lacksEvidence(const Item& item) {
  return item.source == ArtifactSource::projectWalk && !item.evidence;
}

extern template struct RecordCodec<ScanArtifactFinding>;
/// An absent source decodes as projectWalk, an absent tier as safe.
template <>
struct JsonCodec<ScanArtifactFinding> : RecordCodec<ScanArtifactFinding> {};

}  // namespace tidra

/// Hashes all fields.
template <>
struct std::hash<tidra::ScanArtifactFinding> {
  std::size_t operator()(const tidra::ScanArtifactFinding& finding) const noexcept;
};
