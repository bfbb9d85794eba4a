// What happened at the hub: a file to which one JSON object a line is added, never cut.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/platform/directory_reader.h"
#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

/// Not to be shared between threads without a lock.
class EventLog {
 public:
  enum class Durability {
    process,  // what is added outlives this process
    machine,  // and a loss of power
  };

  /// An event as it stands in the file, line feed included.
  static std::string line(const HubEvent& event);

  /// Touches no file.
  explicit EventLog(std::string path);

  /// Makes the file when it is missing. A line that was cut short before, as by a loss of power, is ended first. Throws
  /// std::system_error whose what() names the path; nothing of the event stays in the file then.
  void append(const HubEvent& event, Durability durability);

  /// The last lines, at most `count`, oldest first, less those that are no events. The file is read from its end, at
  /// most 64 MiB of it. Empty when it is missing or cannot be read.
  std::vector<HubEvent> recent(std::size_t count) const;

 private:
  std::string path_;
  // The file as the last append left it: what has that size still ends with a line feed.
  FileIdentity identity_;
  std::uint64_t size_ = 0;
};

}  // namespace tidra
