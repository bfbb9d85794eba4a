#include "core/dispose/known_stores.h"

#include "core/dispose/freedesktop_trash.h"
#include "core/dispose/quarantine.h"
#include "core/dispose/trash_disposer.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// An invalid variable is an input error for disposal, but must not fail a scan.
std::string usualQuarantine(const TidraPathResolver& resolver) {
  try {
    return QuarantineConfig::makeDefault(resolver).directory;
  } catch (const InputError&) {
    return QuarantineConfig::makeDefault({resolver.home, {}}).directory;
  }
}

}  // namespace

std::vector<Store> knownStores(const TidraPathResolver& resolver, const std::vector<std::string>& quarantines) {
  std::vector<Store> stores{{FreedesktopTrash(resolver, {}).homeTrash(), StoreKind::trash},
                            {TrashDisposer::folder(resolver), StoreKind::trash},
                            {usualQuarantine(resolver), StoreKind::quarantine}};
  for (const std::string& folder : quarantines) stores.push_back({standardizedPath(folder), StoreKind::quarantine});
  const StoreFinder finder(resolver.home, {});
  std::erase_if(stores, [&](const Store& store) { return finder.holdsHome(store.path); });
  return stores;
}

}  // namespace tidra
