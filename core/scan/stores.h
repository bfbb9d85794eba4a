// Stores: trashes and quarantines of any program, anywhere. Their contents were already removed and wait for restore or
// purge: scans skip them, and only purging removes them.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/platform/directory_reader.h"

namespace tidra {

class FolderNode;

enum class StoreKind { trash, quarantine };

struct Store {
  std::string path;  // absolute
  StoreKind kind = StoreKind::trash;

  bool operator==(const Store&) const = default;
};

/// Returns "a trash" or "a quarantine".
std::string_view describedStore(StoreKind kind);

struct StoreNames {
  static constexpr std::string_view manifestSuffix = ".tidra.json";          // beside every quarantined item
  static constexpr std::string_view volumeQuarantine = ".tidra-quarantine";  // at the top of a volume
  static constexpr std::string_view infoSuffix = ".trashinfo";               // in "info" beside "files"

  /// Recognises a store by name: ".Trash", ".Trashes", ".Trash-" and a number, ".tidra-quarantine", and "Trash" in
  /// ".local/share". Rejects nearly every name by its first bytes.
  static std::optional<StoreKind> kindOf(std::string_view name, const FolderNode& parent) {
    return mayBeStore(name) ? kindBelow(name, parent) : std::nullopt;
  }
  /// As above for an absolute path.
  static std::optional<StoreKind> kindOf(std::string_view path);
  /// Whether this is the folder "files" of a trash; rules name it to empty the trash.
  static bool isWholeTrash(std::string_view path);

 private:
  static bool mayBeStore(std::string_view name) {
    if (name.size() < 5) return false;
    return name[0] == '.' ? name[1] == 'T' || name[1] == 't' : name == "Trash";
  }
  static std::optional<StoreKind> kindBelow(std::string_view name, const FolderNode& parent);
};

/// Recognises a store from one folder's listing: call note() for every entry, then the queries.
class StoreSigns {
 public:
  /// Costs a few comparisons per entry, mostly of length or first byte.
  void note(const DirectoryEntry& entry) {
    if (entry.type == EntryType::directory) {
      if (entry.name == "files") hasFiles_ = true;
      if (entry.name == "info") hasInfo_ = true;
    } else if (entry.type == EntryType::regularFile && entry.name.ends_with(StoreNames::manifestSuffix)) {
      noteManifest(entry.name);
    }
  }

  /// Returns the entries with a quarantine manifest, in listing order. Manifests and info files count only if owned by
  /// the running user, root or the folder's owner.
  std::vector<std::string> quarantined(int descriptor) const;

  /// Returns the kind of store of the listed folder; nullopt if it is none. `descriptor` is the folder's.
  std::optional<StoreKind> kind(int descriptor) const {
    return manifested_.empty() && !(hasFiles_ && hasInfo_) ? std::nullopt : kindOfSuspect(descriptor);
  }

 private:
  void noteManifest(std::string_view name);
  std::optional<StoreKind> kindOfSuspect(int descriptor) const;

  bool hasFiles_ = false;
  bool hasInfo_ = false;
  std::vector<std::string> manifested_;  // names with a manifest; the entries themselves may not exist
};

/// Finds the store that contains a path. Not thread-safe.
class StoreFinder {
 public:
  /// `known` are stores at known paths, which need not exist. The home folder and its ancestors are never stores, even
  /// with planted marks; single entries in them with a manifest are.
  StoreFinder(const std::string& home, const std::vector<Store>& known);

  /// Returns the outermost store that equals or contains the path; nullopt if none does. The path must be absolute with
  /// symbolic links resolved. Lists each ancestor once per finder; checks the path's own manifests every time.
  std::optional<Store> holding(const std::string& path);

  /// Whether this is the home folder or an ancestor of it.
  bool holdsHome(std::string_view folder) const;

 private:
  struct Listed {
    std::size_t number = 0;
    bool isRead = false;
    std::optional<StoreKind> kind;
  };

  std::optional<StoreKind> kindByPlace(std::string_view folder) const;
  static std::optional<StoreKind> kindByListing(int folder);

  std::vector<std::string> homes_;  // as passed, and with symbolic links resolved
  std::unordered_map<std::string, StoreKind> known_;
  std::size_t longestKnown_ = 0;
  std::map<std::pair<std::size_t, std::string>, Listed> listed_;  // by number of the parent and name; 0 is "/"
};

}  // namespace tidra
