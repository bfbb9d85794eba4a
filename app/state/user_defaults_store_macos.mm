// Tested with GNUstep's Foundation; not yet run on a Mac.
#include "app/state/user_defaults_store_macos.h"

#import <Foundation/Foundation.h>

#include <cstring>
#include <system_error>

#include "core/platform/autorelease_pool_macos.h"
#include "core/platform/file_lock.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

NSString* textOf(const std::string& text) { return [NSString stringWithUTF8String:text.c_str()]; }

/// True for a number stored as a boolean only.
bool isBoolean(id stored) {
  return [stored isKindOfClass:[NSNumber class]] &&
         std::strcmp([stored objCType], [[NSNumber numberWithBool:YES] objCType]) == 0;
}

id encoded(const PreferencesStore::Value& value) {
  if (const auto* bytes = std::get_if<std::string>(&value)) {
    return [NSData dataWithBytes:bytes->data() length:bytes->size()];
  }
  if (const auto* boolean = std::get_if<bool>(&value)) return [NSNumber numberWithBool:*boolean];
  const auto seconds = std::get<TimePoint>(value).time_since_epoch().count();
  return [NSDate dateWithTimeIntervalSince1970:static_cast<double>(seconds)];
}

/// Absent for a kind of value that this version does not know.
std::optional<PreferencesStore::Value> decoded(id stored) {
  if ([stored isKindOfClass:[NSData class]]) {
    NSData* data = stored;
    return std::string(static_cast<const char*>([data bytes]), [data length]);
  }
  if ([stored isKindOfClass:[NSDate class]]) {
    return TimePoint{std::chrono::seconds{static_cast<long long>([stored timeIntervalSince1970])}};
  }
  if (isBoolean(stored)) return static_cast<bool>([stored boolValue]);
  return std::nullopt;
}

class UserDefaultsStore : public PreferencesStore {
 public:
  UserDefaultsStore(std::string domain, std::string lockPath)
      : domain_(std::move(domain)), lockPath_(std::move(lockPath)) {}

  std::optional<Value> value(const std::string& key) const override {
    const AutoreleasePool pool;
    return decoded([[defaults() persistentDomainForName:textOf(domain_)] objectForKey:textOf(key)]);
  }

  void transact(const std::function<Changes()>& prepare, const std::function<void()>& finish) override {
    try {
      makePrivateFolders(parentPath(lockPath_));
      const FileLock lock(lockPath_);
      const Changes changes = prepare();
      if (!changes.empty()) save(changes);
      finish();
    } catch (const std::system_error& error) {
      throw PreferencesError(std::string("The preferences were not saved: ") + error.what() + ".");
    }
  }

 private:
  /// A new object each time: an old one may not see what other processes wrote since.
  static NSUserDefaults* defaults() {
    NSUserDefaults* fresh = [[[NSUserDefaults alloc] init] autorelease];
    [fresh synchronize];
    return fresh;
  }

  /// Replaces the domain as a whole, so that a crash leaves all changes or none.
  void save(const Changes& changes) const {
    const AutoreleasePool pool;
    NSUserDefaults* target = defaults();
    NSMutableDictionary* values = [NSMutableDictionary dictionary];
    [values addEntriesFromDictionary:[target persistentDomainForName:textOf(domain_)]];
    for (const auto& [key, value] : changes) {
      if (value) {
        [values setObject:encoded(*value) forKey:textOf(key)];
      } else {
        [values removeObjectForKey:textOf(key)];
      }
    }
    [target setPersistentDomain:values forName:textOf(domain_)];
    if (![target synchronize]) throw PreferencesError("The preferences were not saved: the user's defaults refuse them.");
  }

  std::string domain_;
  std::string lockPath_;
};

}  // namespace

std::unique_ptr<PreferencesStore> openUserDefaults(const std::string& domain, const std::string& lockPath) {
  return std::make_unique<UserDefaultsStore>(domain, lockPath);
}

}  // namespace tidra
