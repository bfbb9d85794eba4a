// What a person reads about an item that a removal takes: the way back, what happens afterwards, or a warning.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/model/cleanup_plan.h"
#include "core/model/found_artifact.h"
#include "core/model/scan_report.h"

namespace tidra {

struct ItemHint {
  enum class Kind {
    wayBack,     // what makes or downloads it again
    afterwards,  // what its program does without it, which may be no way back
    careful,     // a warning: the hint of an item above tier safe
    plain,
  };

  Kind kind = Kind::plain;
  std::string text;

  /// "to get it back: npm install".
  std::string sentence() const { return sentenceOf(kind, text); }

  static std::string sentenceOf(Kind kind, std::string_view text);
};

/// `restoreHint` is that of the finding. nullopt without one. Texts come from rules and tools: a face escapes them.
std::optional<ItemHint> hintOf(const CleanupPlan::Item& item, const std::optional<std::string>& restoreHint);
std::optional<ItemHint> hintOf(const ScanReportItem& item);
std::optional<ItemHint> hintOf(const FoundArtifact& found);

}  // namespace tidra
