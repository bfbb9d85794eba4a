// Why an unattended run leaves an item alone; agents, hub and administrators read it in reports.
#pragma once

#include <array>

#include "core/base/enum_table.h"

namespace tidra {

/// Why an item stays.
enum class SkipReason {
  tierNeverRemoved,
  tierNotAutoCleaned,
  ruleNeverRemoved,
  pathProtected,
  categoryNotAllowed,
  ecosystemNotAllowed,
  tooRecent,
  idleUnknown,
  tooSmall,
  overBudget,
  noEvidence,
};

template <>
struct EnumTable<SkipReason> {
  static constexpr std::string_view name = "reason";
  static constexpr std::array rows{
      EnumRow<SkipReason>{SkipReason::tierNeverRemoved, "tierNeverRemoved"},
      EnumRow<SkipReason>{SkipReason::tierNotAutoCleaned, "tierNotAutoCleaned"},
      EnumRow<SkipReason>{SkipReason::ruleNeverRemoved, "ruleNeverRemoved"},
      EnumRow<SkipReason>{SkipReason::pathProtected, "pathProtected"},
      EnumRow<SkipReason>{SkipReason::categoryNotAllowed, "categoryNotAllowed"},
      EnumRow<SkipReason>{SkipReason::ecosystemNotAllowed, "ecosystemNotAllowed"},
      EnumRow<SkipReason>{SkipReason::tooRecent, "tooRecent"},
      EnumRow<SkipReason>{SkipReason::idleUnknown, "idleUnknown"},
      EnumRow<SkipReason>{SkipReason::tooSmall, "tooSmall"},
      EnumRow<SkipReason>{SkipReason::overBudget, "overBudget"},
      EnumRow<SkipReason>{SkipReason::noEvidence, "noEvidence"},
  };
};

}  // namespace tidra
