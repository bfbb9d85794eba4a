// Untested: needs a Mac.
#import <Foundation/Foundation.h>

#include "app/state/state_folders.h"

namespace tidra {
namespace {

NSString* const domain = @"com.kavrin.Tidra";

class UserDefaultsStore : public PreferencesStore {
 public:
  std::optional<Value> value(const std::string& key) const override {
    @autoreleasepool {
      id stored = [defaults() objectForKey:@(key.c_str())];
      if ([stored isKindOfClass:[NSData class]]) {
        NSData* data = stored;
        return std::string(static_cast<const char*>(data.bytes), data.length);
      }
      if ([stored isKindOfClass:[NSDate class]]) {
        return TimePoint{std::chrono::seconds{static_cast<long long>([stored timeIntervalSince1970])}};
      }
      if ([stored isKindOfClass:[NSNumber class]]) return static_cast<bool>([stored boolValue]);
      return std::nullopt;
    }
  }

  /// NSUserDefaults has no lock for callers: another process may write between the two steps.
  void transact(const std::function<Changes()>& prepare, const std::function<void()>& finish) override {
    const Changes changes = prepare();
    @autoreleasepool {
      for (const auto& [key, value] : changes) {
        NSString* name = @(key.c_str());
        if (!value) {
          [defaults() removeObjectForKey:name];
        } else if (const auto* bytes = std::get_if<std::string>(&*value)) {
          [defaults() setObject:[NSData dataWithBytes:bytes->data() length:bytes->size()] forKey:name];
        } else if (const auto* boolean = std::get_if<bool>(&*value)) {
          [defaults() setBool:*boolean forKey:name];
        } else {
          const auto seconds = std::get<TimePoint>(*value).time_since_epoch().count();
          [defaults() setObject:[NSDate dateWithTimeIntervalSince1970:static_cast<double>(seconds)] forKey:name];
        }
      }
      [defaults() synchronize];
    }
    finish();
  }

 private:
  static NSUserDefaults* defaults() {
    static NSUserDefaults* shared = [[NSUserDefaults alloc] initWithSuiteName:domain];
    return shared;
  }
};

}  // namespace

std::unique_ptr<PreferencesStore> openPreferences(const TidraPathResolver&, std::function<void(const std::string&)>) {
  return std::make_unique<UserDefaultsStore>();
}

}  // namespace tidra
