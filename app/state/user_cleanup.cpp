#include "app/state/user_cleanup.h"

#include <fmt/format.h>

#include <utility>

#include "app/state/exclusions_store.h"
#include "app/state/state_folders.h"
#include "app/state/state_home.h"
#include "core/platform/path_text.h"

namespace tidra {

CleanupSetting cleanupSettingFor(const ScanRequest& request, DisposalMethod method, QuarantineConfig quarantine,
                                 std::function<TimePoint()> clock) {
  const StateFolders folders = stateFolders(request.platform, request.resolver);
  auto setting = CleanupSetting::forRequest(request, method, std::move(quarantine), false);
  setting.service.protectedFolders = {folders.preferences, folders.applicationData};
  setting.service.clock = std::move(clock);
  return setting;
}

void requireKnownExclusions(const TidraPathResolver& resolver, const std::function<void(const std::string&)>& onNote) {
  const auto preferences = openPreferences(resolver, onNote);
  try {
    ExclusionsStore(*preferences).requireComplete();
  } catch (const PreferencesError& error) {
    throw PreferencesError(
        fmt::format("{} Nothing is removed until the stored exclusions are repaired or moved away.", error.what()));
  }
}

bool movesToHomeOfAnother(DisposalMethod method, const QuarantineConfig& quarantine,
                          const TidraPathResolver& resolver) {
  const bool isInHome = method == DisposalMethod::trash ||
                        (method == DisposalMethod::quarantine && isSameOrInside(quarantine.directory, resolver.home));
  return isInHome && belongsToAnotherUser(resolver);
}

}  // namespace tidra
