// The rows of the user's exclusion list, and the filter made of them.
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

/// Projects and paths become prefixes. What a row of kind pattern means, addExclusion() says; the disk is looked at.
TidraScanExclusionFilter makeExclusionFilter(const std::vector<ExclusionEntry>& entries,
                                             const TidraPathResolver& resolver);

/// Adds what a text keeps out that may be a path or a pattern. "~" and known variables are expanded. An absolute text
/// is a path; one with "*", "?" or "[" is a pattern as well, unless `looksAtDisk` finds an entry of just that name; the
/// folders at its beginning that exist then stand for themselves, whatever characters their names have. Any
/// other text is a pattern, and with "[" or a backslash in it also the name that it spells. What a variable puts into a
/// pattern counts as it stands, too. Keeping out too much does no harm, so each reading counts.
void addExclusion(TidraScanExclusionFilter& filter, const std::string& text, const TidraPathResolver& resolver,
                  bool looksAtDisk);

/// A text that a person typed, as a row of the list.
struct TypedExclusion {
  std::string text;  // a path with its home folder as "~", or the pattern as it was given
  ExclusionRowKind kind = ExclusionRowKind::pattern;

  /// What the person may not have meant, a sentence: it names nothing, or was not obviously a pattern.
  std::optional<std::string> note;

  /// A path when it names an entry that exists, from `currentFolder` when it is relative, and when it is absolute
  /// without wildcards. A text with a component "." or ".." is made absolute and read like that. A relative name
  /// without "/" and wildcards stays a pattern: it keeps out every entry of that name, the one here included.
  /// `currentFolder` is absent when there is none any more.
  static TypedExclusion read(const std::string& given, const TidraPathResolver& resolver,
                             const std::optional<std::string>& currentFolder);
};

/// The absolute, standardised path that a row of kind project or path means. Variables that are known are expanded; any
/// other "$" is a character of the path.
std::string excludedPath(std::string_view text, const TidraPathResolver& resolver);

/// True for text that begins as an absolute path or one in the home folder does.
bool looksLikePath(std::string_view text);

}  // namespace tidra
