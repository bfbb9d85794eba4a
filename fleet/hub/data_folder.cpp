#include "fleet/hub/data_folder.h"

#include <fmt/format.h>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "fleet/hub/hub_store_error.h"

namespace tidra {

std::string HubDataFolder::hosts() const { return joinedPath(path_, "hosts"); }
std::string HubDataFolder::policies() const { return joinedPath(path_, "policies"); }
std::string HubDataFolder::eventLog() const { return joinedPath(path_, "events.jsonl"); }
std::string HubDataFolder::lockFile() const { return joinedPath(path_, "hub.lock"); }

void HubDataFolder::take() {
  makePrivateFolders(hosts());
  makePrivateFolders(policies());
  lock_ = FileLock::tryTake(lockFile());
  if (!lock_) throw HubStoreError::folderInUse(path_);
}

void HubDataFolder::requireFree() const {
  if (pathFacts(lockFile()) && !FileLock::tryTake(lockFile())) throw HubStoreError::folderInUse(path_);
}

InputError HubDataFolder::unusable(const std::system_error& error) const {
  return InputError(fmt::format("The data folder {} cannot be used: {}. Choose another folder or fix its permissions.",
                                escapedForTerminal(path_), escapedForTerminal(error.what())));
}

}  // namespace tidra
