// Who is using a folder at this moment.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tidra {

/// One process's hold on a place.
struct PlaceUse {
  std::int64_t process = 0;  // its id
  std::string program;       // its short name
  std::string path;          // its working folder, or the file that it has locked

  bool operator==(const PlaceUse&) const = default;
};

/// What processes held when the object was made. What belongs to other users is seen as far as the system shows it.
struct UsageSnapshot {
  std::vector<PlaceUse> workingFolders;
  std::vector<PlaceUse> lockedFiles;

  /// Leaves out this process and those that started it, whose working folder is where the user happens to stand. Empty
  /// on platforms that do not tell.
  static UsageSnapshot take();

  /// A process that works in `folder` or below it.
  std::optional<PlaceUse> workerIn(const std::string& folder) const;

  /// A process that has locked a file below `folder`.
  std::optional<PlaceUse> lockerIn(const std::string& folder) const;
};

}  // namespace tidra
