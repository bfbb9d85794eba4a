// The policy: drives an unattended cleanup of one host. What is scanned, what may be removed, what never, and where to
// log. Format: docs/policy.md.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/json_codec.h"
#include "core/model/disposal.h"
#include "core/model/scan_activity_classification.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {

/// A decoded policy that is not valid. what() is a sentence for people.
class FleetPolicyError : public std::runtime_error {
 public:
  enum class Kind { unsupportedSchema, invalid };

  static FleetPolicyError unsupportedSchema(std::int64_t version);
  static FleetPolicyError invalid(const std::string& message);

  Kind kind() const { return kind_; }

 private:
  FleetPolicyError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

  Kind kind_;
};

/// Paths and patterns are literal; ResolvedPolicy interprets them on a host.
struct FleetPolicy {
  struct Scan {
    std::vector<std::string> roots = {"~"};
    std::optional<std::string> home;                     // absent: the running user's
    std::optional<std::vector<std::string>> categories;  // of the system scan
    std::optional<std::vector<std::string>> ecosystems;  // absent: all
    std::vector<std::string> exclude;                    // folders and patterns
    std::vector<std::string> extraRules;                 // rule catalog files
    std::vector<std::string> disabledRules;              // rule ids
    std::vector<std::string> unskip;                     // entries of the skip list to walk anyway
    std::optional<std::vector<std::string>> packs;       // rule packs; absent: none

    bool operator==(const Scan&) const = default;
  };

  struct AutoClean {
    static constexpr std::uint64_t defaultMinBytes = 1048576;
    static constexpr std::int64_t defaultMinIdleDays = 7;

    std::vector<ArtifactSafetyTier> tiers = {ArtifactSafetyTier::safe};
    std::optional<std::vector<std::string>> categories;  // absent: all; empty: none
    std::optional<std::vector<std::string>> ecosystems;  // absent: all; empty: none
    std::int64_t minIdleDays = defaultMinIdleDays;
    bool requireKnownIdle = false;
    bool requireEvidence = false;  // skip findings in projects without evidence of a tool
    std::uint64_t minBytes = defaultMinBytes;
    std::optional<std::uint64_t> maxBytesPerRun;
    std::optional<std::int64_t> maxItemsPerRun;

    bool operator==(const AutoClean&) const = default;
  };

  struct Never {
    std::vector<ArtifactSafetyTier> tiers = {ArtifactSafetyTier::warning};
    std::vector<std::string> ruleIDs;
    std::vector<std::string> paths;  // folders and patterns

    bool operator==(const Never&) const = default;
  };

  struct Disposal {
    static constexpr std::int64_t defaultRetentionDays = 7;

    DisposalMethod method = DisposalMethod::quarantine;
    std::optional<std::string> quarantineDir;
    std::int64_t retentionDays = defaultRetentionDays;
    bool purgeOnRun = true;

    bool operator==(const Disposal&) const = default;
  };

  struct Audit {
    std::optional<std::string> path;

    bool operator==(const Audit&) const = default;
  };

  struct Metrics {
    std::optional<std::string> textfile;  // absent: no textfile
    std::optional<std::string> listen;    // host, ":" and port

    bool operator==(const Metrics&) const = default;
  };

  struct Hub {
    static constexpr std::int64_t defaultTopItems = 25;
    static constexpr std::int64_t mostTopItems = 200;

    std::optional<std::string> url;  // absent or empty: no reports
    std::optional<std::string> token;
    std::optional<std::string> tokenFile;
    std::optional<std::string> policy;  // name of the hub's policy for this host
    std::map<std::string, std::string> tags;
    std::int64_t topItems = defaultTopItems;  // largest findings sent with a report
    std::optional<std::int64_t> intervalSeconds;

    /// True when reports are sent.
    bool isUsed() const { return url && !url->empty(); }

    bool operator==(const Hub&) const = default;
  };

  static constexpr std::int64_t supportedSchema = 1;

  std::int64_t schemaVersion = supportedSchema;
  std::string name = "default";
  Scan scan;
  AutoClean autoClean;
  Never never;
  Disposal disposal;
  Audit audit;
  Metrics metrics;
  Hub hub;
  std::optional<std::string> lockFile;
  bool dryRun = false;
  std::int64_t dormantMonths = ActivityThresholds{}.dormantMonths;
  std::int64_t inactiveMonths = ActivityThresholds{}.inactiveMonths;

  /// Reads, decodes and validates a file. Throws InputError when it cannot be read, and as parse() does.
  static FleetPolicy load(const std::string& path);

  /// Decodes and validates a document. Throws DecodingError when it is no policy, FleetPolicyError when it is invalid.
  static FleetPolicy parse(std::string_view text);

  /// Throws the first FleetPolicyError found.
  void validate() const;

  /// JSON with sorted keys; defaults are written, absent values omitted.
  std::string text() const;

  /// The activity thresholds, clamped to the range of their type.
  ActivityThresholds thresholds() const;

  bool operator==(const FleetPolicy&) const = default;
};

/// Returns the bytes of a policy file. Throws InputError, a sentence that names the file, when it is missing,
/// unreadable, not a regular file, or longer than 8 MiB.
std::string readPolicyFile(const std::string& path);

/// As readPolicyFile(), for a policy to be carried out: who writes it decides what its runs remove. Throws as
/// readTrustedFile() does.
std::string readTrustedPolicyFile(const std::string& path);

/// Unknown keys, which are ignored, by place ("autoClean.minBtyes"): mostly typing errors. `text` must be one that
/// parse() accepts.
std::vector<std::string> unknownPolicyKeys(std::string_view text);

extern template struct RecordCodec<FleetPolicy>;
/// Decoding fills in defaults. It checks the schema version first, and validates nothing else.
template <>
struct JsonCodec<FleetPolicy> : RecordCodec<FleetPolicy> {
  static FleetPolicy decode(const nlohmann::json& value, const std::string& where);
};

}  // namespace tidra
