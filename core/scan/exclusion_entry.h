// The rows of the user's exclusion list, and the filter made of them.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "core/base/enum_table.h"
#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/platform/path_resolver.h"
#include "core/scan/exclusion_filter.h"

namespace tidra {

/// What a row of the list is: a project kept out of the results, any folder, or a pattern.
enum class ExclusionRowKind { project, path, pattern };

template <>
struct EnumTable<ExclusionRowKind> {
  static constexpr std::string_view name = "exclusion kind";
  static constexpr std::array rows{
      EnumRow<ExclusionRowKind>{ExclusionRowKind::project, "project"},
      EnumRow<ExclusionRowKind>{ExclusionRowKind::path, "path"},
      EnumRow<ExclusionRowKind>{ExclusionRowKind::pattern, "pattern"},
  };
};

struct ExclusionEntry {
  std::string id;           // UUID of the row
  std::string pathDisplay;  // as the user sees it, "~" kept for the home folder
  ExclusionRowKind kind = ExclusionRowKind::path;
  TimePoint addedAt{};

  bool operator==(const ExclusionEntry&) const = default;
};

template <>
struct JsonCodec<ExclusionEntry> {
  static nlohmann::json encode(const ExclusionEntry& entry);
  static ExclusionEntry decode(const nlohmann::json& value, const std::string& where);
};

/// Projects and paths become prefixes, patterns stay patterns; "~" is expanded in all.
TidraScanExclusionFilter makeExclusionFilter(const std::vector<ExclusionEntry>& entries,
                                             const TidraPathResolver& resolver);

/// The absolute, standardised path that a row of kind project or path means. Variables that are known are expanded; any
/// other "$" is a character of the path.
std::string excludedPath(std::string_view text, const TidraPathResolver& resolver);

/// True for text that begins as an absolute path or one in the home folder does.
bool looksLikePath(std::string_view text);

/// The kind of a text that a person typed: a path when it begins with "/" or "~" and holds no "*", "?" or "[", else a
/// pattern.
ExclusionRowKind guessExclusionKind(std::string_view text);

}  // namespace tidra
