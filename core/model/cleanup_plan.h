// A cleanup plan as a document: made from a report, edited by hand, applied now or later.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/model/disposal.h"
#include "core/model/found_artifact.h"
#include "core/model/scan_report.h"

namespace tidra {

struct [[nodiscard]] CleanupPlan {
  struct Item {
    std::string id;    // of the report item
    std::string path;  // absolute, or a tool-backed target
    std::string label;
    std::int64_t bytes = 0;
    ArtifactSafetyTier tier = ArtifactSafetyTier::safe;
    std::string category;
    ArtifactSource source = ArtifactSource::projectWalk;
    std::optional<std::string> ruleID;
    std::optional<std::string> evidence = {};  // of the report item; if present, compared with the present evidence

    static Item make(const ScanReportItem& reported);
    /// As for its report item.
    static Item make(const FoundArtifact& found);

    bool operator==(const Item&) const = default;
  };

  std::int64_t schemaVersion = TidraReportSchema::version;
  TimePoint createdAt{};
  std::string host;
  DisposalMethod method = DisposalMethod::trash;
  std::optional<std::string> reason;          // why the plan was made
  std::optional<std::string> olderThan = {};  // least age of its items when it was made, as parseAge() reads it
  std::optional<std::int64_t> minBytes = {};  // least size of its items
  std::vector<Item> items;

  /// Returns the most severe tier among the items; safe for an empty plan.
  ArtifactSafetyTier highestTier() const;

  /// Returns the saturating sum of the sizes.
  std::int64_t totalBytes() const;

  /// Parses a plan, which may have been edited by hand. Throws InputError that begins with `what` for malformed text, a
  /// newer schema, duplicate items, negative sizes and invalid paths.
  static CleanupPlan parse(std::string_view text, const std::string& what);

  bool operator==(const CleanupPlan&) const = default;
};

extern template struct RecordCodec<CleanupPlan::Item>;
template <>
struct JsonCodec<CleanupPlan::Item> : RecordCodec<CleanupPlan::Item> {};

extern template struct RecordCodec<CleanupPlan>;
template <>
struct JsonCodec<CleanupPlan> : RecordCodec<CleanupPlan> {};

}  // namespace tidra
