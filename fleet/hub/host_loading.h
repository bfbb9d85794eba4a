// Loads all hosts of a data folder.
#pragma once

#include <string>
#include <vector>

#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

struct LoadedHost {
  std::string fileName;
  HubHostFile file;
  std::string failure;  // for people; empty when `file` is present
};

/// Reads every document of the folder, in byte order of names, in parallel. Throws std::system_error when the folder is
/// unreadable.
std::vector<LoadedHost> loadHostFiles(const std::string& folder);

}  // namespace tidra
