// Reading all hosts of a data folder.
#pragma once

#include <string>
#include <vector>

#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

struct LoadedHost {
  std::string fileName;
  HubHostFile file;
  std::string failure;  // why there is no `file`, for people; empty when there is one
};

/// Every document of the folder in byte order of the names, read by as many threads as there are processors. Throws
/// std::system_error when the folder itself cannot be read.
std::vector<LoadedHost> loadHostFiles(const std::string& folder);

}  // namespace tidra
