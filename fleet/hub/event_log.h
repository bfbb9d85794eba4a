// The hub's event log: an append-only file with one JSON object a line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/platform/directory_reader.h"
#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

/// Not thread-safe.
class EventLog {
 public:
  enum class Durability {
    process,  // survives a crash of the process
    machine,  // survives a power loss: flushed with `fsync`
  };

  /// The event's line in the file, with line feed.
  static std::string line(const HubEvent& event);

  /// Touches no file.
  explicit EventLog(std::string path);

  /// Appends; creates a missing file. A torn last line, as after a power loss, is terminated first. Strong guarantee:
  /// throws std::system_error that names the path, with the file unchanged.
  void append(const HubEvent& event, Durability durability);

  /// The last `count` lines, oldest first, without invalid ones. Reads backwards from the end, at most 64 MiB. Empty
  /// when the file is missing or unreadable.
  std::vector<HubEvent> recent(std::size_t count) const;

 private:
  std::string path_;
  // The file after the last append: with an unchanged size it still ends with a line feed.
  FileIdentity identity_;
  std::uint64_t size_ = 0;
};

}  // namespace tidra
