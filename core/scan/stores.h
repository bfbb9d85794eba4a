// Trashes and quarantines, here called stores, whoever made them and wherever they lie. What is in one was removed
// before and waits to be restored or purged: it is never searched, and only purging removes it.
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

/// "a trash" or "a quarantine".
std::string_view describedStore(StoreKind kind);

struct StoreNames {
  static constexpr std::string_view manifestSuffix = ".tidra.json";          // beside every quarantined item
  static constexpr std::string_view volumeQuarantine = ".tidra-quarantine";  // at the top of a volume
  static constexpr std::string_view infoSuffix = ".trashinfo";               // in "info" beside "files"

  /// The kind of store that a folder is by its name alone: ".Trash", ".Trashes", ".Trash-" and a number,
  /// ".tidra-quarantine", and "Trash" in ".local/share". Nearly every name is refused by its first bytes.
  static std::optional<StoreKind> kindOf(std::string_view name, const FolderNode& parent) {
    return mayBeStore(name) ? kindBelow(name, parent) : std::nullopt;
  }
  /// The same for an absolute path.
  static std::optional<StoreKind> kindOf(std::string_view path);
  /// True for the folder "files" of a trash, which is what a rule names to have the trash emptied.
  static bool isWholeTrash(std::string_view path);

 private:
  static bool mayBeStore(std::string_view name) {
    if (name.size() < 5) return false;
    return name[0] == '.' ? name[1] == 'T' || name[1] == 't' : name == "Trash";
  }
  static std::optional<StoreKind> kindBelow(std::string_view name, const FolderNode& parent);
};

/// What the listing of one folder says about it. Feed it every entry, then ask.
class StoreSigns {
 public:
  /// Costs some comparisons, nearly all of them with the length or the first byte.
  void note(const DirectoryEntry& entry) {
    if (entry.type == EntryType::directory) {
      if (entry.name == "files") hasFiles_ = true;
      if (entry.name == "info") hasInfo_ = true;
    } else if (entry.type == EntryType::regularFile && entry.name.ends_with(StoreNames::manifestSuffix)) {
      noteManifest(entry.name);
    }
  }

  /// The entries that have a quarantine's manifest beside them, in the order of the listing. A manifest of somebody who
  /// is neither the running user nor root nor the folder's owner does not count, here and below; nor do his info files.
  std::vector<std::string> quarantined(int descriptor) const;

  /// The kind of store that the listed folder is; none for any other. `descriptor` is the folder's.
  std::optional<StoreKind> kind(int descriptor) const {
    return manifested_.empty() && !(hasFiles_ && hasInfo_) ? std::nullopt : kindOfSuspect(descriptor);
  }

 private:
  void noteManifest(std::string_view name);
  std::optional<StoreKind> kindOfSuspect(int descriptor) const;

  bool hasFiles_ = false;
  bool hasInfo_ = false;
  std::vector<std::string> manifested_;  // names that have a manifest; whether there are such entries is not known yet
};

/// Finds the store that a path lies in. Not to be shared between threads.
class StoreFinder {
 public:
  /// `known` are stores by their place, which need not exist. The home folder and what holds it are no stores, whatever
  /// somebody put there; single entries in them that have a manifest are.
  StoreFinder(const std::string& home, const std::vector<Store>& known);

  /// The outermost store that is this path or holds it; none when there is none. The path is absolute and without
  /// links. Lists each folder on the way once in the finder's life; the path's own manifests are looked for every time.
  std::optional<Store> holding(const std::string& path);

  /// True for the home folder and what holds it.
  bool holdsHome(std::string_view folder) const;

 private:
  struct Listed {
    std::size_t number = 0;
    bool isRead = false;
    std::optional<StoreKind> kind;
  };

  std::optional<StoreKind> kindByPlace(std::string_view folder) const;
  static std::optional<StoreKind> kindByListing(int folder);

  std::vector<std::string> homes_;  // as it is named, and without links
  std::unordered_map<std::string, StoreKind> known_;
  std::size_t longestKnown_ = 0;
  std::map<std::pair<std::size_t, std::string>, Listed> listed_;  // by number of the parent and name; 0 is "/"
};

}  // namespace tidra
