// Compiled against the Foundation of GNUstep; not yet run on a Mac.
#include "core/platform/volume_space.h"

#import <Foundation/Foundation.h>

#include "core/platform/autorelease_pool_macos.h"

namespace tidra {
namespace {

std::optional<std::int64_t> figure(NSDictionary* values, NSString* key) {
  NSNumber* number = [values objectForKey:key];
  if (number == nil) return std::nullopt;
  return [number longLongValue];
}

}  // namespace

std::optional<TidraVolumeSpaceReader::Space> TidraVolumeSpaceReader::read(const std::string& path) {
  const AutoreleasePool pool;
  NSFileManager* manager = [NSFileManager defaultManager];
  NSString* text = [manager stringWithFileSystemRepresentation:path.data() length:path.size()];
  NSURL* url = [[NSURL fileURLWithPath:text] URLByStandardizingPath];
  NSArray* keys = [NSArray arrayWithObjects:NSURLVolumeTotalCapacityKey, NSURLVolumeAvailableCapacityForImportantUsageKey,
                                            NSURLVolumeAvailableCapacityKey, nil];
  NSDictionary* values = [url resourceValuesForKeys:keys error:nullptr];
  const auto space = choose({figure(values, NSURLVolumeTotalCapacityKey),
                             figure(values, NSURLVolumeAvailableCapacityForImportantUsageKey),
                             figure(values, NSURLVolumeAvailableCapacityKey)});
  if (space) return space;
  NSDictionary* attributes = [manager attributesOfFileSystemForPath:[url path] error:nullptr];
  return choose({figure(attributes, NSFileSystemSize), std::nullopt, figure(attributes, NSFileSystemFreeSize)});
}

}  // namespace tidra
