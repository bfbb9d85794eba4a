// Compiled against the Foundation of GNUstep; not yet run on a Mac.
#include "core/platform/desktop_trash_macos.h"

#import <Foundation/Foundation.h>

#include "core/platform/autorelease_pool_macos.h"

namespace tidra {

Outcome<std::string> moveToDesktopTrash(const std::string& path) {
  const AutoreleasePool pool;
  NSFileManager* manager = [NSFileManager defaultManager];
  NSString* text = [manager stringWithFileSystemRepresentation:path.c_str() length:path.size()];
  NSURL* landed = nil;
  NSError* error = nil;
  if ([manager trashItemAtURL:[NSURL fileURLWithPath:text] resultingItemURL:&landed error:&error]) {
    return std::string([[landed path] fileSystemRepresentation]);
  }
  NSError* cause = [[error userInfo] objectForKey:NSUnderlyingErrorKey];
  const bool isPosix = [[cause domain] isEqualToString:NSPOSIXErrorDomain];
  return std::error_code(isPosix ? static_cast<int>([cause code]) : EIO, std::generic_category());
}

}  // namespace tidra
