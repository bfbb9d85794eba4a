// What scanners look for, as data: artefact folders of projects, fixed locations of tools, folders never entered. The
// format is docs/rules.md.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/enum_table.h"
#include "core/base/json_codec.h"
#include "core/model/scan_vocabulary.h"
#include "core/platform/platform.h"

namespace tidra {

/// A folder kind that the project walk reports.
struct ProjectArtifactRule {
  /// Project files that decide the ecosystem. Entries with "*", "?" or "[" are shell patterns.
  struct Marker {
    std::string ecosystem;
    std::vector<std::string> files;

    bool operator==(const Marker&) const = default;
  };

  /// Another restore hint, for artefacts beside which one of these lies: names, paths or patterns. Always without any.
  struct HintBeside {
    std::vector<std::string> files;
    std::string hint;

    bool operator==(const HintBeside&) const = default;
  };

  std::string id;
  std::string folderName;                 // exact name of the artefact
  std::optional<std::string> parentName;  // exact name that its parent folder must have
  std::string label;
  std::string ecosystem = "general";
  ArtifactSafetyTier tier = ArtifactSafetyTier::safe;
  std::optional<std::string> restoreHint;
  std::vector<Marker> markers;
  bool requireMarker = false;
  std::vector<TidraPlatform> platforms;                     // empty: every platform
  std::optional<std::vector<std::string>> otherNames = {};  // further names of the folder, or patterns
  std::optional<std::vector<std::string>> holds = {};       // one of these must lie inside; absent: nothing has to
  std::optional<std::vector<HintBeside>> hintsBeside = {};  // the first that fits counts; absent: restoreHint always

  bool appliesTo(TidraPlatform platform) const;

  bool operator==(const ProjectArtifactRule&) const = default;
};

/// A fixed location that the system probes measure.
struct SystemPathRule {
  enum class Mode { directory, children };
  enum class Kind { directory, file };
  enum class Activity { none, self, newestChild };

  std::string id;
  std::string category;
  std::string label;
  std::string ecosystem = "general";
  ArtifactSafetyTier tier = ArtifactSafetyTier::safe;
  std::optional<std::string> restoreHint;
  std::map<std::string, std::vector<std::string>> paths;  // platform key → path templates
  Mode mode = Mode::directory;                            // children: each entry of the folder is a finding
  Kind kind = Kind::directory;
  Activity activity = Activity::none;                  // source of the last activity date
  std::optional<std::string> childLabel;               // label pattern with "{name}" and "{parent}"
  std::optional<std::vector<std::string>> holds = {};  // one of these must lie in a finding; absent: nothing has to

  bool operator==(const SystemPathRule&) const = default;
};

template <>
struct EnumTable<SystemPathRule::Mode> {
  static constexpr std::string_view name = "mode";
  static constexpr std::array rows{
      EnumRow<SystemPathRule::Mode>{SystemPathRule::Mode::directory, "directory"},
      EnumRow<SystemPathRule::Mode>{SystemPathRule::Mode::children, "children"},
  };
};

template <>
struct EnumTable<SystemPathRule::Kind> {
  static constexpr std::string_view name = "kind";
  static constexpr std::array rows{
      EnumRow<SystemPathRule::Kind>{SystemPathRule::Kind::directory, "directory"},
      EnumRow<SystemPathRule::Kind>{SystemPathRule::Kind::file, "file"},
  };
};

template <>
struct EnumTable<SystemPathRule::Activity> {
  static constexpr std::string_view name = "activity";
  static constexpr std::array rows{
      EnumRow<SystemPathRule::Activity>{SystemPathRule::Activity::none, "none"},
      EnumRow<SystemPathRule::Activity>{SystemPathRule::Activity::self, "self"},
      EnumRow<SystemPathRule::Activity>{SystemPathRule::Activity::newestChild, "newestChild"},
  };
};

/// A decoded catalog is invalid. what() is the sentence shown to the user.
class RuleCatalogError : public std::runtime_error {
 public:
  enum class Kind { unsupportedSchema, duplicateID, invalidRule };

  static RuleCatalogError unsupportedSchema(int version);
  static RuleCatalogError duplicateID(const std::string& id);
  static RuleCatalogError invalidRule(const std::string& id, const std::string& reason);

  Kind kind() const { return kind_; }

 private:
  RuleCatalogError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

  Kind kind_;
};

struct NotedCatalog;

struct RuleCatalog {
  int schemaVersion = 1;
  std::string catalogVersion = "custom";
  std::vector<ProjectArtifactRule> projectRules;
  std::vector<SystemPathRule> systemRules;
  std::map<std::string, std::vector<std::string>> walkSkipByPlatform;  // "all", "macos", "linux" → folders

  static constexpr int supportedSchema = 1;

  /// Decodes and validates a document. Throws DecodingError or RuleCatalogError.
  static RuleCatalog load(std::string_view data);
  /// Likewise, with notes on what is probably a mistake.
  static NotedCatalog loadNoted(std::string_view data);

  /// Returns the catalog of this build, decoded once and shared. Aborts the program if it is invalid.
  static const RuleCatalog& builtIn();

  /// Throws RuleCatalogError for the first fault. Ids are unique over both lists.
  static void validate(const std::vector<ProjectArtifactRule>& projectRules,
                       const std::vector<SystemPathRule>& systemRules);

  /// Returns the system rules with a path for the platform, in catalog order; all categories if none are passed.
  std::vector<SystemPathRule> systemRulesFor(TidraPlatform platform,
                                             const std::optional<std::set<std::string>>& categories) const;

  /// Returns the folders for all platforms, then those for this one.
  std::vector<std::string> walkSkip(TidraPlatform platform) const;

  bool hasRule(std::string_view id) const;

  /// Merges an overlay: a rule with a known id is replaced in place, a new one is appended.
  RuleCatalog merging(const RuleCatalog& overlay) const;

  /// Returns the catalog with a pack's rules and skipped folders. Its project rules come first: they demand more than a
  /// name, and would never match behind a rule that takes every folder of that name.
  RuleCatalog withPack(const RuleCatalog& pack) const;

  /// Returns the catalog without these ids.
  RuleCatalog removing(const std::set<std::string>& disabledIDs) const;

  bool operator==(const RuleCatalog&) const = default;
};

struct [[nodiscard]] NotedCatalog {
  RuleCatalog catalog;
  std::vector<std::string> notes;  // sentences without subject: on unknown keys, and on a catalog without content
};

extern template struct RecordCodec<ProjectArtifactRule>;
template <>
struct JsonCodec<ProjectArtifactRule> : RecordCodec<ProjectArtifactRule> {
  static ProjectArtifactRule decode(const nlohmann::json& value, const std::string& where);
};

extern template struct RecordCodec<SystemPathRule>;
template <>
struct JsonCodec<SystemPathRule> : RecordCodec<SystemPathRule> {};

extern template struct RecordCodec<RuleCatalog>;
/// Decoding applies defaults but does not validate.
template <>
struct JsonCodec<RuleCatalog> : RecordCodec<RuleCatalog> {};

}  // namespace tidra
