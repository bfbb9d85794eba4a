// One removable thing.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {

struct ScanArtifactFinding {
  std::string path;   // absolute; or a tool-backed target that begins with "docker:", "conda:" or "pip:"
  std::string label;  // for people, normally the rule's
  std::uint64_t sizeBytes = 0;
  std::string ecosystemTag;              // lower case, such as "npm"; "general" belongs to no single ecosystem
  std::optional<std::string> groupRoot;  // the project folder, or a system group root
  ArtifactSource source = ArtifactSource::projectWalk;
  ArtifactSafetyTier safetyTier = ArtifactSafetyTier::safe;
  std::optional<std::string> restoreHint;     // how to get it back
  std::optional<TimePoint> lastActivityDate;  // of the project or of the item itself; absent when unknown
  std::optional<std::string> ruleID;          // absent when no catalog rule produced it
  /// By what it is known that a tool made a project's artefact, for people: "holds .package-lock.json". Absent when
  /// nothing shows it, and for findings outside projects, which no one writes by hand.
  std::optional<std::string> evidence = {};

  bool operator==(const ScanArtifactFinding&) const = default;
};

/// True for a path that names something only a tool can remove: it begins with "docker:", "conda:" or "pip:".
bool isToolBackedTarget(std::string_view path);

/// True for a finding of the walk of which nothing shows that a tool made it. `Item` is a finding or a report's item.
template <class Item>
bool lacksEvidence(const Item& item) {
  return item.source == ArtifactSource::projectWalk && !item.evidence;
}

/// An absent source reads as projectWalk and an absent tier as safe.
template <>
struct JsonCodec<ScanArtifactFinding> {
  static nlohmann::json encode(const ScanArtifactFinding& finding);
  static ScanArtifactFinding decode(const nlohmann::json& value, const std::string& where);
};

}  // namespace tidra

/// Takes all fields.
template <>
struct std::hash<tidra::ScanArtifactFinding> {
  std::size_t operator()(const tidra::ScanArtifactFinding& finding) const noexcept;
};
