#include "fleet/hub/host_loading.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>

#include "core/base/byte_units.h"
#include "core/base/errors.h"
#include "core/base/joining_thread.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/spare_threads.h"
#include "fleet/hub/folder_listing.h"
#include "fleet/hub/host_file.h"

namespace tidra {
namespace {

void load(const std::string& folder, LoadedHost& host) {
  constexpr std::size_t mostBytes = 64_MiB;  // a thousand points of history take 150 KB
  const auto text = readRegularFile(joinedPath(folder, host.fileName), mostBytes);
  if (!text) {
    host.failure = text.failure().message();
    return;
  }
  try {
    host.file = parseHostFile(*text, "it");
  } catch (const std::exception& error) {
    host.failure = error.what();
  }
}

}  // namespace

std::vector<LoadedHost> loadHostFiles(const std::string& folder) {
  std::vector<LoadedHost> hosts;
  for (std::string& name : jsonFilesIn(folder))
    hosts.push_back({.fileName = std::move(name), .file = {}, .failure = {}});
  std::atomic<std::size_t> next = 0;
  const auto work = [&] {
    for (std::size_t i = next++; i < hosts.size(); i = next++) load(folder, hosts[i]);
  };
  std::vector<JoiningThread> helpers;
  const std::size_t workers = std::min<std::size_t>(std::max(1U, std::thread::hardware_concurrency()), hosts.size());
  for (std::size_t i = 1; i < workers; ++i) {
    auto helper = startSpareThread(work);
    if (!helper) break;
    helpers.push_back(std::move(*helper));
  }
  work();
  helpers.clear();
  return hosts;
}

}  // namespace tidra
