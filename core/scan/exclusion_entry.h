// Rows of the user's exclusion list, and the filter built from them.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "core/base/enum_table.h"
#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/platform/path_resolver.h"
#include "core/scan/exclusion_filter.h"

namespace tidra {

/// Kinds of rows: a project, any folder, or a pattern.
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
  std::string pathDisplay;  // as shown to the user, "~" for the home folder
  ExclusionRowKind kind = ExclusionRowKind::path;
  TimePoint addedAt{};

  bool operator==(const ExclusionEntry&) const = default;
};

extern template struct RecordCodec<ExclusionEntry>;
template <>
struct JsonCodec<ExclusionEntry> : RecordCodec<ExclusionEntry> {};

/// Projects and paths become prefixes; patterns go through addExclusion(), which reads the disk.
TidraScanExclusionFilter makeExclusionFilter(const std::vector<ExclusionEntry>& entries,
                                             const TidraPathResolver& resolver);

/// Adds the exclusions of a text that may be a path or a pattern. Expands "~" and known variables. Absolute text is a
/// path; with "*", "?" or "[" it is also a pattern, unless `looksAtDisk` finds an entry of exactly that name; existing
/// folders at its beginning are then matched literally. Other text is a pattern; with "[" or a backslash also the
/// literal name. Variable values count both literally and as patterns. Excluding too much is safe, so every
/// interpretation counts.
void addExclusion(TidraScanExclusionFilter& filter, const std::string& text, const TidraPathResolver& resolver,
                  bool looksAtDisk);

/// A text typed by the user, as a row of the list.
struct TypedExclusion {
  std::string text;  // a path with "~" for the home folder, or the pattern as typed
  ExclusionRowKind kind = ExclusionRowKind::pattern;

  /// A warning sentence: the text matches nothing yet, or is unexpectedly a pattern.
  std::optional<std::string> note;

  /// Interprets a text. A path: an existing entry (relative to `currentFolder`), or absolute without wildcards. Text
  /// with a component "." or ".." is made absolute first. A plain name without "/" and wildcards is a pattern that
  /// excludes every entry of that name, including one in the current folder. `currentFolder` is absent if it was
  /// removed.
  static TypedExclusion read(const std::string& given, const TidraPathResolver& resolver,
                             const std::optional<std::string>& currentFolder);
};

/// Returns the absolute, standardised path of a row of kind project or path. Expands known variables; any other "$" is
/// literal.
std::string excludedPath(std::string_view text, const TidraPathResolver& resolver);

/// Whether text begins like an absolute path or one in the home folder.
bool looksLikePath(std::string_view text);

}  // namespace tidra
