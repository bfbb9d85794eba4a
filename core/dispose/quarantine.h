// Quarantine: things are moved aside next to a manifest that tells where they came from, can be restored for some time,
// and are then purged.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/base/json_codec.h"
#include "core/base/time_point.h"
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

  /// The folder of the environment's TIDRA_QUARANTINE_DIR when that is not empty, a leading "~" expanded, else
  /// ".tidra/quarantine" in the home folder. Throws InputError for a relative one.
  static QuarantineConfig makeDefault(const TidraPathResolver& resolver);

  bool operator==(const QuarantineConfig&) const = default;
};

class QuarantineDisposer {
 public:
  /// Lies beside every quarantined item under its name and ".tidra.json".
  struct Manifest {
    std::string originalPath;  // absolute
    TimePoint quarantinedAt{};
    std::optional<std::int64_t> bytes;  // measured before the move
    std::string host;

    bool operator==(const Manifest&) const = default;
  };

  struct Entry {
    std::string url;  // where the item lies now
    Manifest manifest;

    std::string name() const;  // what people call it: the last component of `url`

    bool operator==(const Entry&) const = default;
  };

  struct Listing {
    std::vector<Entry> entries;      // by name, the root of the configuration first
    std::vector<std::string> notes;  // what was passed over and why, for people
  };

  struct Quarantined {
    std::string url;
    std::optional<std::int64_t> bytes;
  };

  struct Purged {
    std::vector<std::string> paths;  // of the items that are gone for good
    std::vector<TidraDeletionFailure> failures;
    std::vector<std::string> notes;
  };

  static constexpr std::string_view manifestSuffix = StoreNames::manifestSuffix;
  static constexpr std::string_view volumeFolder = StoreNames::volumeQuarantine;

  /// `mounts` are the volumes on which entries are looked for besides the configured folder.
  QuarantineDisposer(QuarantineConfig config, TidraPathResolver resolver, std::string host,
                     std::vector<MountPoint> mounts);

  const QuarantineConfig& config() const { return config_; }

  /// The folder that an item goes to: the configured one, or one at the top of the item's own volume, so that the move
  /// is a rename. Throws std::system_error.
  std::string rootFor(const HeldEntry& entry) const;

  /// Throws DisposalError or std::system_error when the item could not be quarantined now. Makes nothing.
  void check(const HeldEntry& entry) const;

  /// Throws DisposalError when the configured folder could not be used now. Makes nothing.
  void checkFolder() const;

  /// Moves one item into quarantine. `originalPath` is what the manifest tells. The manifest is on disk before the item
  /// moves, and is removed again when the move fails. Throws DisposalError, UnsafePathError or std::system_error; the
  /// item is in its place then.
  Quarantined quarantine(const HeldEntry& entry, const std::string& originalPath, std::optional<std::int64_t> bytes,
                         TimePoint date);

  /// All entries, those on other volumes included. An entry without its item, or whose manifest cannot be read, is
  /// passed over and noted. Throws DisposalError when the configured folder cannot be trusted.
  Listing list() const;

  /// Removes entries whose time of quarantine lies more than this many days before `now`, absent: the configured
  /// retention.
  [[nodiscard]] Purged purge(std::optional<std::int64_t> olderThanDays, TimePoint now,
                             const std::function<bool()>& shouldCancel = {}) const;

  /// Removes entries that were quarantined before this moment, those whose item is gone included, and finishes
  /// removals that were cut short. Throws DisposalError when the configured folder cannot be trusted.
  [[nodiscard]] Purged purgeBefore(TimePoint cutOff, const std::function<bool()>& shouldCancel = {}) const;

  /// The part of purgeBefore() that concerns no item: manifests whose item is gone, and removals that were cut short. A
  /// dry run only tells their paths. Throws DisposalError when the configured folder cannot be trusted.
  [[nodiscard]] Purged clearRemains(TimePoint cutOff, bool dryRun,
                                    const std::function<bool()>& shouldCancel = {}) const;

  /// Removes one entry for good. Throws DisposalError, UnsafePathError or std::system_error.
  void remove(const Entry& entry, const std::function<bool()>& shouldCancel = {}) const;

  /// Moves an entry back to where it came from, making the folders above that are missing. Never replaces anything.
  /// Throws DisposalError, UnsafePathError or std::system_error; entry and manifest stay in quarantine then.
  void restore(const Entry& entry) const;

  /// True when restore() would find the place free. Throws as restore() does otherwise.
  void checkRestore(const Entry& entry) const;

 private:
  struct Found {
    Entry entry;
    bool hasItem = false;
  };
  struct Root {
    StoreFolder store;
    std::vector<Found> found;
    std::vector<std::string> leftovers;  // of removals that were cut short
  };

  std::vector<Root> readRoots(std::vector<std::string>& notes) const;
  enum class Extent { everything, remains, dryRemains };
  [[nodiscard]] Purged purge(TimePoint cutOff, Extent extent, const std::function<bool()>& shouldCancel) const;
  void readRoot(Root& root, std::vector<std::string>& notes) const;
  std::string reserve(const StoreFolder& store, const std::string& stem, const std::string& manifest);

  QuarantineConfig config_;
  TidraPathResolver resolver_;
  std::string host_;
  std::vector<MountPoint> mounts_;
  std::map<std::string, int> nextNumbers_;  // by root and stem, so that many equal names are not tried again and again
};

template <>
struct JsonCodec<QuarantineDisposer::Manifest> {
  static nlohmann::json encode(const QuarantineDisposer::Manifest& manifest);
  static QuarantineDisposer::Manifest decode(const nlohmann::json& value, const std::string& where);
};

}  // namespace tidra
