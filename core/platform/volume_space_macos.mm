// Not run on any machine but a Mac, and so far untested.
#import <Foundation/Foundation.h>

#include "core/platform/volume_space.h"

namespace tidra {
namespace {

std::optional<std::int64_t> figure(NSDictionary* values, NSString* key) {
  NSNumber* number = values[key];
  if (number == nil) return std::nullopt;
  return number.longLongValue;
}

}  // namespace

std::optional<TidraVolumeSpaceReader::Space> TidraVolumeSpaceReader::read(const std::string& path) {
  @autoreleasepool {
    NSString* text = [[NSFileManager defaultManager] stringWithFileSystemRepresentation:path.data() length:path.size()];
    NSURL* url = [[NSURL fileURLWithPath:text] URLByStandardizingPath];
    NSDictionary* values = [url resourceValuesForKeys:@[
      NSURLVolumeTotalCapacityKey, NSURLVolumeAvailableCapacityForImportantUsageKey, NSURLVolumeAvailableCapacityKey
    ]
                                                error:nil];
    const auto space = choose({figure(values, NSURLVolumeTotalCapacityKey),
                               figure(values, NSURLVolumeAvailableCapacityForImportantUsageKey),
                               figure(values, NSURLVolumeAvailableCapacityKey)});
    if (space) return space;
    NSDictionary* attributes = [[NSFileManager defaultManager] attributesOfFileSystemForPath:url.path error:nil];
    return choose({figure(attributes, NSFileSystemSize), std::nullopt, figure(attributes, NSFileSystemFreeSize)});
  }
}

}  // namespace tidra
