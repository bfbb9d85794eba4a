// Quarantine: items are moved next to a manifest with their origin, can be restored during the retention period, and
// are then purged.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/dispose/store_records.h"
#include "core/dispose/volumes.h"
#include "core/model/disposal.h"
#include "core/platform/held_folder.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"
#include "core/scan/stores.h"

namespace tidra {

struct QuarantineConfig {
  static constexpr std::int64_t defaultRetentionDays = 7;

  std::string directory;  // absolute
  std::int64_t retentionDays = defaultRetentionDays;

  /// Uses TIDRA_QUARANTINE_DIR unless empty, with a leading "~" expanded, else ".tidra/quarantine" in the home folder.
  /// Throws InputError for a relative path.
  static QuarantineConfig makeDefault(const TidraPathResolver& resolver);

  bool operator==(const QuarantineConfig&) const = default;
};

class QuarantineDisposer {
 public:
  /// Stored beside every item as its name + ".tidra.json".
  struct Manifest {
    std::string originalPath;  // absolute
    TimePoint quarantinedAt{};
    std::optional<std::int64_t> bytes;          // measured before the move
    std::optional<std::int64_t> freeableBytes;  // what deleting it would have freed then; absent: not known
    std::string host;

    bool operator==(const Manifest&) const = default;
  };

  struct Entry {
    std::string url;  // the item's present path
    Manifest manifest;

    std::string name() const;  // display name: the last component of `url`
    /// What purging it frees, as far as it is known; 0 when nothing was measured.
    std::int64_t freeable() const { return manifest.freeableBytes.value_or(manifest.bytes.value_or(0)); }

    bool operator==(const Entry&) const = default;
  };

  struct Listing {
    std::vector<Entry> entries;      // by name, the configured folder first
    std::vector<std::string> notes;  // what was skipped and why, for display
  };

  struct Quarantined {
    std::string url;
    std::optional<std::int64_t> bytes;
  };

  struct Purged {
    std::vector<std::string> paths;       // deleted permanently
    std::vector<std::int64_t> freedEach;  // by each path; only clearRemains() measures, 0 where a manifest alone went
    std::vector<TidraDeletionFailure> failures;
    std::vector<std::string> notes;  // what could not be read and stays
  };

  static constexpr std::string_view volumeFolder = StoreNames::volumeQuarantine;

  /// `mounts` are the volumes searched in addition to the configured folder.
  QuarantineDisposer(QuarantineConfig config, TidraPathResolver resolver, std::string host,
                     std::vector<MountPoint> mounts);

  const QuarantineConfig& config() const { return config_; }

  /// Returns the store for an item: the configured folder, or one at the top of the item's own volume, so that the move
  /// is an atomic rename. Throws std::system_error.
  std::string rootFor(const HeldEntry& entry) const;

  /// Throws DisposalError or std::system_error if the item could not be quarantined now. Creates nothing.
  void check(const HeldEntry& entry) const;

  /// Throws DisposalError if the configured folder is unusable now. Creates nothing.
  void checkFolder() const;

  /// Moves an item into quarantine, with a manifest that records `originalPath` and both sizes. Throws as
  /// StoreRecords::moveIn() does.
  Quarantined quarantine(const HeldEntry& entry, const std::string& originalPath, std::optional<std::int64_t> bytes,
                         TimePoint date, std::optional<std::int64_t> freeable = {});

  /// Returns the stores that this object made and that are open to others, as everything on their volumes is.
  const std::set<std::string>& openStores() const { return openStores_; }

  /// Returns the entries of all volumes. Entries without an item or with an unreadable manifest are skipped and noted.
  /// Throws DisposalError if the configured folder cannot be trusted.
  Listing list() const;

  /// Removes entries quarantined more than this many days before `now`; absent: the configured retention.
  [[nodiscard]] Purged purge(std::optional<std::int64_t> olderThanDays, TimePoint now,
                             const std::function<bool()>& shouldCancel = {}) const;

  /// Removes entries quarantined before `cutOff`, manifests without an item included, and finishes interrupted
  /// removals. Throws DisposalError if the configured folder cannot be trusted.
  [[nodiscard]] Purged purgeBefore(TimePoint cutOff, const std::function<bool()>& shouldCancel = {}) const;

  /// As purgeBefore(), limited to manifests without an item and interrupted removals. A dry run only returns their
  /// paths. Throws DisposalError if the configured folder cannot be trusted.
  [[nodiscard]] Purged clearRemains(TimePoint cutOff, bool dryRun,
                                    const std::function<bool()>& shouldCancel = {}) const;

  /// Deletes one entry permanently. Throws DisposalError, UnsafePathError or std::system_error; what() begins with "was
  /// deleted" if only its manifest stays.
  void remove(const Entry& entry, const std::function<bool()>& shouldCancel = {}) const;

  /// Moves an entry back to its original path, creating missing parent folders, never replacing anything. Throws
  /// DisposalError, UnsafePathError or std::system_error; the entry then stays in quarantine, unless only its manifest
  /// could not be removed: what() begins with "was restored" then.
  void restore(const Entry& entry) const;

  /// Throws as restore() would if the original path is invalid or taken.
  void checkRestore(const Entry& entry) const;

 private:
  struct Found {
    Entry entry;
    bool hasItem = false;
  };
  struct Root {
    StoreFolder store;
    std::vector<Found> found;
    std::vector<std::string> leftovers;  // interrupted removals
  };

  std::vector<Root> readRoots(std::vector<std::string>& notes) const;
  enum class Extent { everything, remains, dryRemains };
  [[nodiscard]] Purged purge(TimePoint cutOff, Extent extent, const std::function<bool()>& shouldCancel) const;
  void readRoot(Root& root, std::vector<std::string>& notes) const;

  QuarantineConfig config_;
  TidraPathResolver resolver_;
  std::string host_;
  std::vector<MountPoint> mounts_;
  std::set<std::string> openStores_;
  StoreRecords::Numbers nextNumbers_;
};

extern template struct RecordCodec<QuarantineDisposer::Manifest>;
template <>
struct JsonCodec<QuarantineDisposer::Manifest> : RecordCodec<QuarantineDisposer::Manifest> {
  static QuarantineDisposer::Manifest decode(const nlohmann::json& value, const std::string& where);
};

}  // namespace tidra
