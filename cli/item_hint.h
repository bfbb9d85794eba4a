// What a person reads about an item that a removal takes: the way back, what happens afterwards, or a warning.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/model/cleanup_plan.h"
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
  std::string text;  // not escaped

  /// "to get it back: npm install", escaped for terminals.
  std::string sentence() const;
};

/// `restoreHint` is that of the finding. nullopt without one.
std::optional<ItemHint> hintOf(const CleanupPlan::Item& item, const std::optional<std::string>& restoreHint);
std::optional<ItemHint> hintOf(const ScanReportItem& item);

}  // namespace tidra
